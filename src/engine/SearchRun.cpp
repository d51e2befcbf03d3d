// The search run and its cancel protocol.
#include "engine/SearchRun.h"

#include <optional>

#include "engine/FileTools.h"
#include "platform/UserDefaults.h"

namespace kelvora {

std::shared_ptr<SearchRun> SearchRun::create(Services services, std::function<void()> onFinished) {
    return std::shared_ptr<SearchRun>(new SearchRun(std::move(services), std::move(onFinished)));
}

void SearchRun::startSearch() {
    services_.background.async([self = shared_from_this()] { self->runSearch(); });
}

namespace {

// Marks the group's reference copies; false when every copy is one.
bool markReferences(File& group, const SettingsManager& settings) {
    bool anyOther = false;
    for (DuplicateFile& member : group.duplicates) {
        member.reference = inReferenceFolder(member.path, settings.referenceFolderPaths);
        anyOther = anyOther || !member.reference;
    }
    return anyOther;
}

}  // namespace

void SearchRun::runSearch() {
    runEngine();
    // Everything the worker shared with the window is let go of by now; the end is the one
    // thing left.
    services_.main.async([self = shared_from_this()] { self->finishSearch(); });
    // The digest cache is written while the results are shown: this worker waits for it,
    // never the window.
    waitForCache();
}

void SearchRun::runEngine() {
    SettingsManager& settings = services_.settings;
    if (!digestCachePath_.empty() && platform::DigestCache::wanted(platform::UserDefaults())) {
        cache_.emplace(digestCachePath_);
    }
    FileTools tools(settings, services_.center, services_.locations);
    if (hashThreads_) tools.hashThreads = *hashThreads_;
    if (cache_) tools.digestCache = &*cache_;
    const std::vector<std::string> extensions =
        settings.customFileTypes ? settings.listFileExtensions : std::vector<std::string>{};
    settings.fileList =
        tools.findDuplicateGroups(settings.listFolderPaths, settings.minimumFileSize,
                                  settings.maximumFileSize, settings.ignorePackages, extensions);
    // The engine's own list is done with; on a big search it is the largest thing left.
    FileList().swap(tools.fileList);

    FileList groups;
    for (const FilePtr& file : settings.fileList) {
        if (file->duplicates.empty()) continue;
        DuplicateFile head(file->path, tools.scannedCreationDateText(*file));
        head.stamp = file->stamp;
        head.unreadable = file->unreadable;
        file->duplicates.insert(file->duplicates.begin(), std::move(head));
        // A group is shown only while one of its copies may go: one made of reference copies
        // alone has nothing to choose from.
        if (!settings.referenceFolderPaths.empty() && !markReferences(*file, settings)) continue;
        groups.push_back(file);
    }
    // A cancel that comes after the engine has returned would otherwise close nothing: the
    // run ends like any canceled one, and its groups are not kept, so that a canceled search
    // never shows results.
    if (settings.searchCanceledByUser.load()) {
        tools.postSearchThreadFinished();
    } else {
        settings.duplicateFileList.insert(settings.duplicateFileList.end(), groups.begin(),
                                          groups.end());
        groupsAppended_ = groups.size();
    }
    settings.fileList.clear();
    postedFinished_ = tools.postedSearchThreadFinished();
    lastUserInfo_ = tools.userInfo;
}

void SearchRun::waitForCache() {
    if (cache_) cache_->waitForStore();
}

void SearchRun::finishSearch() {
    struct Ended {
        const std::function<void()>& onEnded;
        ~Ended() {
            if (onEnded) onEnded();
        }
    } ended{onEnded_};
    SettingsManager& settings = services_.settings;
    if (!settings.searchCanceledByUser.load()) {
        if (onFinished_) onFinished_();
        return;
    }
    if (postedFinished_) return;
    // Canceled after the worker's last look at the flag: take back what it appended, and
    // post the one "SearchThreadFinished" here, on the main thread, where the cancel was made.
    auto& list = settings.duplicateFileList;
    list.erase(list.end() - static_cast<std::ptrdiff_t>(groupsAppended_), list.end());
    groupsAppended_ = 0;
    postedFinished_ = true;
    services_.center.post(kSearchThreadFinished, lastUserInfo_);
}

}  // namespace kelvora
