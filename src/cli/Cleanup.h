// Choosing and removing copies from the terminal, with the same keep and cleaning code as the
// results window.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>

#include "cli/CliOptions.h"
#include "core/SettingsManager.h"
#include "platform/Result.h"
#include "results/Alerts.h"
#include "results/Cleaning.h"

namespace kelvora::cli {

// The rule text of --rules, read and checked before the search so that a file that cannot be
// read or is not a rule text ends the run before any work: the text, or the error line. An
// empty text when --keep custom was not asked for.
platform::Result<std::string> loadRules(const CliOptions& options);

// Applies options.keep to every group found, with the rules loadRules gave for --keep custom.
void applyKeep(const CliOptions& options, const std::string& rules, SettingsManager& settings);

// Answers the cleaning's questions on the terminal, or says "Yes" to all of them.
class TerminalAlerts final : public Alerts {
public:
    TerminalAlerts(std::istream& in, std::ostream& out, bool yesToAll)
        : in_(in), out_(out), yesToAll_(yesToAll) {}
    std::int64_t runModal(const Alert& alert) override;
    // A question of the command line's own, asked the same way.
    bool confirm(const std::string& question);

private:
    std::istream& in_;
    std::ostream& out_;
    bool yesToAll_;
};

// Lists what the cleaning would remove; returns the number of copies.
std::size_t printPlan(std::ostream& out, const SettingsManager& settings);

// Asks, removes, and reports what stayed. The process exit code: 0 when every selected copy
// went (or nothing was to go), 1 when some could not be removed. progress.stop, set by a
// signal, ends the cleaning after the copy in hand.
int runCleaning(const CliOptions& options, SettingsManager& settings, std::istream& in,
                std::ostream& out, CleaningProgress& progress);

}  // namespace kelvora::cli
