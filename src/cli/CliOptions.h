// The command line's options: what to search and how to report it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kelvora::cli {

struct CliOptions {
    std::vector<std::string> folders;  // absolute, as the user would see them
    // Searched as well, but their files are never selected or removed; also in folders.
    std::vector<std::string> referenceFolders;
    std::optional<std::uint64_t> minimumSize;
    std::optional<std::uint64_t> maximumSize;
    std::vector<std::string> extensions;  // lower case, no dot, no repeats
    bool includePackages = false;
    std::string profile;  // a .kvr file whose scan settings come first
    std::optional<unsigned> threads;
    bool noCache = false;              // the digest cache is neither read nor written
    std::optional<std::int64_t> keep;  // keep option 0-4 applied to every group
    std::string rulesFile;             // custom rules for keep option 4
    std::int64_t guard = 1;            // 1 oldest, 2 newest, 3 none stays when rules take all
    std::optional<bool> cleanToTrash;  // --clean trash (true) or delete (false)
    bool yes = false;
    bool dryRun = false;
    bool json = false;
    bool quiet = false;
    bool help = false;
    bool version = false;
    bool history = false;             // list past cleanings instead of searching
    std::optional<std::string> undo;  // "last" or a cleaning's id: put it back instead
};

struct ParseOutcome {
    std::optional<CliOptions> options;
    std::string error;  // set when options is empty
};

// Parses argv (without the program name). Folders are made absolute as the system reaches
// them and checked: each must exist, be a folder and not be in /proc or /sys. homeFolder is
// used when none is given; when it is empty too, the command line is refused.
ParseOutcome parseOptions(const std::vector<std::string>& arguments, const std::string& homeFolder);

// "200K", "1.5M" and "10G" are powers of 1024; a plain number is bytes.
std::optional<std::uint64_t> parseSize(const std::string& text);

extern const char* const kUsage;

}  // namespace kelvora::cli
