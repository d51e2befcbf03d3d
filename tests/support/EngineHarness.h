// An engine with its own settings and notification centre, and what it posted.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/SettingsManager.h"
#include "engine/FileTools.h"
#include "platform/NotificationCenter.h"

namespace kelvora::testing {

struct Posted {
    std::string name;
    std::int64_t totalFiles;
    std::int64_t checkedFiles;
    bool operator==(const Posted&) const = default;
};

class EngineHarness {
public:
    EngineHarness() {
        for (const char* name : {kUpdateProgress, kSearchThreadFinished}) {
            registrations_.emplace_back(center, name, [this, name](const platform::UserInfo& info) {
                posted.push_back({name, info.at(kTotalFiles), info.at(kCheckedFiles)});
                if (onPost) onPost(posted.size());
            });
        }
    }

    FileTools tools() { return FileTools(settings, center); }

    std::size_t count(const std::string& name) const {
        std::size_t n = 0;
        for (const Posted& p : posted) n += p.name == name;
        return n;
    }
    std::vector<std::pair<std::int64_t, std::int64_t>> progress() const {
        std::vector<std::pair<std::int64_t, std::int64_t>> out;
        for (const Posted& p : posted) {
            if (p.name == kUpdateProgress) out.emplace_back(p.totalFiles, p.checkedFiles);
        }
        return out;
    }

    SettingsManager settings;
    platform::NotificationCenter center;
    std::vector<Posted> posted;
    std::function<void(std::size_t)> onPost;  // called with the number posted so far

private:
    std::vector<platform::ObserverRegistration> registrations_;
};

// Paths of the listed files relative to root, in list order.
inline std::vector<std::string> relativePaths(const FileList& files, const std::string& root) {
    std::vector<std::string> out;
    for (const FilePtr& file : files) out.push_back(file->path.substr(root.size() + 1));
    return out;
}

}  // namespace kelvora::testing
