// Removing the copies selected for removal: the questions first, then the trash or deletion, the
// groups shrunk as the removal goes, and the rating prompt afterwards. Shared by the results
// window and the command line.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "core/SettingsManager.h"
#include "platform/Locations.h"
#include "platform/UserDefaults.h"
#include "results/Alerts.h"

namespace kelvora {

inline constexpr const char* kShowRateMessage = "ShowRateMessage";
// The product page on the project's own site, opened in the browser by "Yes, Rate Kelvora".
inline constexpr const char* kStorePageAddress = "https://kelvora.app/store";

enum class CleanOutcome {
    NothingSelected,  // the notice was shown, nothing removed
    Declined,         // a question was answered "No", nothing removed
    Confirmed,        // the questions allow the removal
    Cleaned,          // the removal ran
    Refused,          // nothing removed: another cleaning runs, or no journal can be kept
                      // (stopReason says which)
};

// A selected copy that the cleaning left where it was, and why.
struct KeptCopy {
    std::string path;
    std::string reason;
    bool operator==(const KeptCopy&) const = default;
};

struct CleanReport {
    CleanOutcome outcome = CleanOutcome::NothingSelected;
    std::vector<std::string> removed;
    // Copies whose removal failed, with what the system said; each also printed as an
    // "Error:  " line.
    std::vector<KeptCopy> failed;
    std::vector<KeptCopy> kept;       // refused by the checks below; still in their groups
    // Selected copies the cleaning did not reach: it was interrupted, or it stopped because a
    // copy that stays turned out to share its data with one just removed. Still in their groups.
    std::vector<std::string> notReached;
    bool interrupted = false;
    std::string stopReason;  // why the cleaning stopped before its end; empty when it did not
};

// The text shown when another cleaning holds the lock.
inline constexpr const char* kAnotherCleaningRuns =
    "Another cleaning is running (in another Kelvora window or kelvora-cli). Nothing was "
    "removed; clean again when it has finished.";

// What the cleaning checks before each removal. A copy is removed only while it is still the
// file the search saw (device, inode, size, modification and change time), never when the
// search could not read it or its real path lies in a system tree, and, unless the user chose
// to remove its whole group, only while a copy that stays is still there unchanged and holds
// exactly its bytes.
struct CleaningSafety {
    // Before a copy goes it is read in full and compared byte for byte with a copy that stays
    // (a package folder as a tree). The user default "CompareLargeCopies" set to "No" turns
    // this off; the other checks stay.
    bool compareContents = true;
    // Where nothing is ever removed: the system trees, checked on each copy's real path.
    platform::LocationTable locations = platform::LocationTable::linux();
};
inline constexpr const char* kCompareLargeCopies = "CompareLargeCopies";
CleaningSafety cleaningSafetyFrom(const platform::UserDefaults& userDefaults);

// How far a running cleaning is, read by another thread; and its stop request.
struct CleaningProgress {
    std::atomic<std::size_t> done{0};
    std::atomic<std::size_t> total{0};
    // Set by whoever runs executeCleaning once its report is stored.
    std::atomic<bool> finished{false};
    // Set from any thread (a signal handler too): the cleaning stops after the copy in hand.
    std::atomic<bool> stop{false};
};

// What a cleaning works on, copied from the shown groups on the main thread so that the
// removal itself reads no shared record and can run on any thread.
struct CleaningPlan {
    struct Group {
        File* group;  // identity only: never read off the main thread
        std::uint64_t size = 0;
        std::vector<DuplicateFile> members;  // as they were when planned
    };
    std::vector<Group> groups;
    std::size_t selectedCopies = 0;
};

// The questions before a removal, in their order, over the groups shown.
CleanOutcome confirmCleaning(const SettingsManager& settings, const FileList& shown,
                             Alerts& alerts);

// The removal in three steps. Only executeCleaning touches the disk and it touches no record:
// the window runs it on a worker while its own thread stays free.
CleaningPlan planCleaning(const FileList& shown);
CleanReport executeCleaning(const CleaningPlan& plan, bool moveToTrash,
                            const CleaningSafety& safety, CleaningProgress& progress);
// Takes the copies that were removed or failed out of their groups, and groups left with one
// copy or none out of settings.duplicateFileList.
void applyCleaning(SettingsManager& settings, const CleaningPlan& plan, const CleanReport& report);

// All three in a row. Moves every selected copy of the shown groups to the trash, or deletes
// it, as settings.moveToTrash says.
CleanReport removeSelectedCopies(SettingsManager& settings, const FileList& shown,
                                 const CleaningSafety& safety = {},
                                 CleaningProgress* progress = nullptr);

// Both, for the command line: questions answered by alerts, then the removal.
CleanReport cleanSelectedCopies(SettingsManager& settings, const FileList& shown, Alerts& alerts,
                                const CleaningSafety& safety = {},
                                CleaningProgress* progress = nullptr);

// The notice that lists the copies a cleaning left behind; empty when there are none.
std::string stayedText(const CleanReport& report);

// After a successful cleaning: the first one ever only notes that the prompt may come; later
// ones ask for a rating, at most once per results window (rateMessageShown), until the user rates
// or declines.
void askForRating(Alerts& alerts, platform::UserDefaults& userDefaults,
                  const std::function<void(const std::string&)>& openStorePage,
                  bool& rateMessageShown);

}  // namespace kelvora
