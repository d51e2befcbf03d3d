// Feeds argument vectors to the command line's option parsing (the bytes split at each NUL,
// as the kernel hands arguments over): every vector is refused with a message or accepted,
// never a crash, an exception or a hang, and what is accepted is within the documented bounds.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "cli/CliOptions.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<std::string> arguments(1);
    for (std::size_t k = 0; k < size; ++k) {
        if (data[k] == '\0') {
            arguments.emplace_back();
        } else {
            arguments.back() += static_cast<char>(data[k]);
        }
    }
    const auto outcome = kelvora::cli::parseOptions(arguments, "/tmp");
    if (outcome.options.has_value() == !outcome.error.empty()) std::abort();
    if (!outcome.options) return 0;
    const kelvora::cli::CliOptions& options = *outcome.options;
    // These print and end before any folder is looked at.
    if (options.help || options.version || options.history || options.undo) return 0;
    if (options.threads && *options.threads > 64) std::abort();
    for (const std::string& folder : options.folders) {
        if (folder.empty() || folder[0] != '/') std::abort();
    }
    return 0;
}
