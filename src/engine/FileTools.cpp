// Construction and the notifications every stage of a search posts.
#include "engine/FileTools.h"

namespace kelvora {

FileTools::FileTools(SettingsManager& settings, platform::NotificationCenter& center,
                     platform::LocationTable locations)
    : settingsManager(settings), center_(center), locations_(std::move(locations)) {
    userInfo[kTotalFiles] = 0;
    userInfo[kCheckedFiles] = 0;
}

// The files found are in fileList or, during a search with hash threads, in scanned_; never
// in both.
void FileTools::postProgress(std::int64_t checkedFiles) {
    userInfo.find(kTotalFiles)->second = static_cast<std::int64_t>(fileList.size() + scanned_.size());
    userInfo.find(kCheckedFiles)->second = checkedFiles;
    center_.post(kUpdateProgress, userInfo);
}

void FileTools::postSearchThreadFinished() {
    if (postedFinished_) return;
    postedFinished_ = true;
    center_.post(kSearchThreadFinished, userInfo);
}

}  // namespace kelvora
