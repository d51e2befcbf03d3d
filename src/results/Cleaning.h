// Removing the copies selected for removal: the questions first, then the trash or deletion, the
// groups shrunk as the removal goes, and the rating prompt afterwards. Shared by the results
// window and the command line.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/SettingsManager.h"
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
    std::vector<std::string> failed;  // each failure also printed as an "Error:  " line
    std::vector<KeptCopy> kept;       // refused by the checks below; still in their groups
};

// What the cleaning checks before each removal. A copy is removed only while it is still the
// file the search saw (same device, inode, size and modification time), and, unless the user
// chose to remove its whole group, while a copy that stays is still there and unchanged.
struct CleaningSafety {
    // Groups of 100 MiB and more were matched on their size alone: their copies are compared
    // byte for byte with a copy that stays before they go. The user default
    // "CompareLargeCopies" set to "No" turns this off.
    bool compareSizeOnlyGroups = true;
};
inline constexpr const char* kCompareLargeCopies = "CompareLargeCopies";
CleaningSafety cleaningSafetyFrom(const platform::UserDefaults& userDefaults);

// The notice that lists the copies a cleaning left behind; empty when there are none.
std::string stayedText(const CleanReport& report);

// The questions before a removal, in their order, over the groups shown.
CleanOutcome confirmCleaning(const SettingsManager& settings, const FileList& shown,
                             Alerts& alerts);

// Moves every selected copy of the shown groups to the trash, or deletes it, as
// settings.moveToTrash says. Each such copy leaves its group whether or not its removal worked;
// groups left with one copy or none leave settings.duplicateFileList.
CleanReport removeSelectedCopies(SettingsManager& settings, const FileList& shown,
                                 const CleaningSafety& safety = {});

// Both, for the command line: questions answered by alerts, then the removal.
CleanReport cleanSelectedCopies(SettingsManager& settings, const FileList& shown, Alerts& alerts,
                                const CleaningSafety& safety = {});

// After a successful cleaning: the first one ever only notes that the prompt may come; later
// ones ask for a rating, at most once per results window (rateMessageShown), until the user rates
// or declines.
void askForRating(Alerts& alerts, platform::UserDefaults& userDefaults,
                  const std::function<void(const std::string&)>& openStorePage,
                  bool& rateMessageShown);

}  // namespace kelvora
