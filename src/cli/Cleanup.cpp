// Keep options and cleaning from the terminal.
#include "cli/Cleanup.h"

#include <iostream>

#include "core/Texts.h"
#include "platform/TextFile.h"
#include "platform/UserDefaults.h"
#include "results/Cleaning.h"
#include "results/CustomSettingsText.h"
#include "results/KeepSelection.h"

namespace kelvora::cli {

namespace {

// A rule text is 23 short lines; the bound only keeps a wrong choice out of memory.
constexpr std::size_t kMaximumRulesBytes = 64 * 1024;

}  // namespace

platform::Result<std::string> loadRules(const CliOptions& options) {
    using Outcome = platform::Result<std::string>;
    if (options.keep != KeepCustom) return std::string();
    Outcome text = platform::readSmallTextFile(options.rulesFile, kMaximumRulesBytes, "rules");
    if (!text) return Outcome::failure("kelvora-cli: " + text.error());
    SettingsManager scratch;
    if (!LoadCustomSettings(scratch, *text)) {
        return Outcome::failure("kelvora-cli: \"" + options.rulesFile +
                                "\" is not a custom rule text");
    }
    return text;
}

void applyKeep(const CliOptions& options, const std::string& rules, SettingsManager& settings) {
    if (!options.keep) return;
    if (*options.keep == KeepCustom) {
        LoadCustomSettings(settings, rules);
        settings.customSettingsOption = "OK";
    }
    applyKeepOptionToAll(settings, *options.keep, options.guard);
}

bool TerminalAlerts::confirm(const std::string& question) {
    if (yesToAll_) return true;
    out_ << question << " [y/N] " << std::flush;
    std::string answer;
    if (!std::getline(in_, answer)) return false;
    return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes";
}

std::int64_t TerminalAlerts::runModal(const Alert& alert) {
    if (alert.buttons.size() < 2) {
        out_ << alert.informativeText << '\n';
        return kFirstButton;
    }
    // Every question of the cleaning reads "Yes" then "No".
    return confirm(alert.informativeText) ? kFirstButton : kSecondButton;
}

std::size_t printPlan(std::ostream& out, const SettingsManager& settings) {
    std::size_t copies = 0;
    std::uint64_t bytes = 0;
    for (const FilePtr& group : settings.duplicateFileList) {
        for (const DuplicateFile& member : group->duplicates) {
            if (member.checkState != 1) continue;
            if (copies == 0) {
                out << (settings.moveToTrash ? "To be moved to the trash:\n"
                                             : "To be deleted permanently:\n");
            }
            out << "  " << member.path << '\n';
            ++copies;
            bytes += group->size;
        }
    }
    if (copies > 0) out << copies << " copies, " << sizeText(bytes) << " freed\n";
    return copies;
}

int runCleaning(const CliOptions& options, SettingsManager& settings, std::istream& in,
                std::ostream& out, CleaningProgress& progress) {
    settings.moveToTrash = *options.cleanToTrash;
    const std::size_t copies = printPlan(out, settings);
    // The plan is on the screen before anything is removed, whatever buffers the output.
    out.flush();
    if (options.dryRun) {
        out << "Dry run: nothing was removed.\n";
        return 0;
    }
    TerminalAlerts alerts(in, out, options.yes);
    if (copies > 0 && !alerts.confirm(settings.moveToTrash ? "Move these copies to the trash?"
                                                           : "Delete these copies?")) {
        out << "Nothing was removed.\n";
        return 0;
    }
    const FileList shown = settings.duplicateFileList;
    const platform::UserDefaults userDefaults;
    const CleanReport report =
        cleanSelectedCopies(settings, shown, alerts, cleaningSafetyFrom(userDefaults), &progress);
    if (report.outcome == CleanOutcome::Refused) {
        out << report.stopReason << '\n';
        return 1;
    }
    if (report.outcome != CleanOutcome::Cleaned) {
        if (report.outcome == CleanOutcome::Declined) out << "Nothing was removed.\n";
        return 0;
    }
    if (report.interrupted) {
        out << "The cleaning was interrupted. " << report.removed.size() << " removed.\n";
    } else {
        if (!report.stopReason.empty()) out << report.stopReason << '\n';
        out << "Duplicate files cleaned successfully. " << report.removed.size() << " removed.\n";
    }
    const std::string stayed = stayedText(report);
    if (stayed.empty()) return 0;
    out << stayed << '\n';
    return 1;
}

}  // namespace kelvora::cli
