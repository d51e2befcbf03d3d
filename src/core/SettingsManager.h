// The one object through which the windows and the engine share the scan settings, the
// results of the last search, the flags passed between windows and the custom keep rules
// being edited. The application creates it and hands it to every window and engine object.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "core/File.h"

namespace kelvora {

using Date = std::chrono::system_clock::time_point;

class SettingsManager {
public:
    SettingsManager();
    SettingsManager(const SettingsManager&) = delete;
    SettingsManager& operator=(const SettingsManager&) = delete;

    // The process-wide instance, constructed on first use.
    static SettingsManager& shared();

    std::vector<std::string> listFolderPaths;
    // Chosen folders whose files are never selected or removed: searched like the others,
    // their copies only ever stay. Always also in listFolderPaths.
    std::vector<std::string> referenceFolderPaths;
    std::uint64_t minimumFileSize = 204800;
    std::uint64_t maximumFileSize = 107374182400ULL;
    bool customFileTypes = false;
    std::vector<std::string> listFileExtensions;
    bool moveToTrash = true;
    bool ignorePackages = true;
    FileList fileList;
    FileList duplicateFileList;
    std::uint64_t spaceSaved = 0;
    // Written by the window thread (or a signal handler) while the search reads it.
    std::atomic<bool> searchCanceledByUser{false};
    bool openDuplicatesWindow = false;
    std::int64_t customMessageRespone = 1;
    std::string currentSelectedFilePath;
    std::int64_t selectedFile = 0;

    // Working copy of one group's custom keep rules.
    std::int64_t firstDateState = 0;
    std::int64_t firstDateSelectedItem = 0;
    std::int64_t firstDateComparisonItem = 1;
    Date firstDate;
    std::int64_t secondDateState = 0;
    std::int64_t secondDateSelectedItem = 0;
    std::int64_t secondDateComparisonItem = 0;
    Date secondDate;
    std::int64_t firstFileSizeState = 0;
    std::int64_t firstFileSizeComparisonItem = 1;
    std::int64_t firstFileSize = 200;
    std::int64_t firstFileSizeUnit = 1;
    std::int64_t secondFileSizeState = 0;
    std::int64_t secondFileSizeComparisonItem = 0;
    std::int64_t secondFileSize = 100;
    std::int64_t secondFileSizeUnit = 3;
    std::int64_t customFileTypesState = 0;
    std::vector<std::string> customFileExtensions;
    std::string customFileType = "jpg";
    std::int64_t customFilePathState = 0;
    std::string customFilePath = " ";
    std::int64_t subfoldersState = 1;
    std::int64_t matchState = 0;
    std::string customSettingsOption = "Cancel";
};

static_assert(std::atomic<bool>::is_always_lock_free,
              "the cancel flag is set from a signal handler by the command line");

}  // namespace kelvora
