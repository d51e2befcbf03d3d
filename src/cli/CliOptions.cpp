// Parsing and checking the command line.
#include "cli/CliOptions.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "core/File.h"
#include "platform/FileSystem.h"

namespace kelvora::cli {

const char* const kUsage =
    "Usage: kelvora-cli [options] [FOLDER...]\n"
    "Finds duplicate files in the folders (default: your home folder).\n"
    "\n"
    "  --min-size SIZE       smallest file size, inclusive (default 200K)\n"
    "  --max-size SIZE       largest file size, inclusive (default 100G)\n"
    "                        SIZE is bytes, or a number with K, M, G or T (powers of 1024)\n"
    "  --ext LIST            only these file types, e.g. --ext jpg,png\n"
    "  --include-packages    take package folders (.app, .pages, ...) as single files\n"
    "  --profile FILE        take the scan settings from a profile (.kvr) saved by\n"
    "                        Kelvora; the options above override it\n"
    "  --threads N           read and hash on N threads (0: one file at a time)\n"
    "  --no-cache            read every file compared, without the digests kept from\n"
    "                        earlier searches (~/.cache/kelvora/digests.sqlite)\n"
    "  --reference FOLDER    search FOLDER too, but never select or remove its files\n"
    "                        (repeatable)\n"
    "\n"
    "Choosing and removing copies:\n"
    "  --keep WHICH          select copies for removal in every group: none, oldest (all\n"
    "                        but the oldest), newest (all but the newest), all, custom\n"
    "  --rules FILE          the custom rules for --keep custom (a group's rule text)\n"
    "  --guard WHICH         when the custom rules select every copy of a group, keep\n"
    "                        its oldest (default), newest, or none\n"
    "  --clean trash|delete  remove the selected copies: to the trash, or for good\n"
    "  --yes                 do not ask before removing\n"
    "  --dry-run             print what would be removed, remove nothing\n"
    "  --json                print the groups as one JSON object\n"
    "  --quiet               no progress on standard error\n"
    "  -h, --help            show this help\n"
    "  --version             show the version\n"
    "\n"
    "Past cleanings:\n"
    "  --history             list past cleanings, newest first, with their ids\n"
    "  --undo last|ID        put back every copy a cleaning moved to the trash\n";

std::optional<std::uint64_t> parseSize(const std::string& text) {
    // Digits with at most one point: strtold alone would also take signs, spaces, exponents,
    // hexadecimal, "inf" and "nan".
    const std::size_t used = std::min(text.find_first_not_of("0123456789."), text.size());
    const std::string number = text.substr(0, used);
    if (number.find_first_of("0123456789") == std::string::npos ||
        std::count(number.begin(), number.end(), '.') > 1) {
        return std::nullopt;
    }
    std::string unit = text.substr(used);
    std::transform(unit.begin(), unit.end(), unit.begin(),
                   [](unsigned char c) { return std::toupper(c); });
    if (unit.size() > 1 && (unit.ends_with("IB") || unit.ends_with("B"))) {
        unit.resize(unit.size() - (unit.ends_with("IB") ? 2 : 1));
    }
    static const std::string units = "KMGT";
    long double scale = 1;
    if (unit == "B") unit.clear();
    if (!unit.empty()) {
        const auto index = units.find(unit);
        if (unit.size() != 1 || index == std::string::npos) return std::nullopt;
        scale = std::pow(1024.0L, static_cast<long double>(index + 1));
    }
    errno = 0;
    const long double value = std::strtold(number.c_str(), nullptr);
    if (errno == ERANGE && value != 0) return std::nullopt;
    const long double bytes = std::floor(value * scale);
    if (!std::isfinite(bytes) || bytes < 0 || bytes > 18446744073709551615.0L) return std::nullopt;
    return static_cast<std::uint64_t>(bytes);
}

namespace {

// Far more than a machine's cores; beyond it threads only cost memory (each has its stack).
constexpr unsigned kMostThreads = 64;

std::optional<std::string> cannotUse(const std::string& folder, int error) {
    return "kelvora-cli: cannot use folder \"" + folder + "\": " + std::strerror(error);
}

// What the kernel makes up rather than stores: nothing in it is a copy of anything, and some
// of its files never end.
std::optional<std::string> kernelTreeOf(const std::string& realPath) {
    for (const std::string top : {"/proc", "/sys"}) {
        if (realPath == top || realPath.starts_with(top + "/")) return top;
    }
    return std::nullopt;
}

// Made absolute the way the system reaches it, and checked: each must be a folder where
// files are kept. folder is left as the user wrote it for the messages.
std::optional<std::string> checkFolder(std::string& folder) {
    if (folder.empty()) return "kelvora-cli: an empty argument names no folder";
    std::string absolute;
    if (const int error = platform::absolutePath(folder, absolute)) return cannotUse(folder, error);
    folder = absolute;
    struct stat st;
    if (::stat(folder.c_str(), &st) != 0) return cannotUse(folder, errno);
    if (!S_ISDIR(st.st_mode)) return "kelvora-cli: \"" + folder + "\" is not a folder";
    std::string real;
    if (const int error = platform::realPath(folder, real)) return cannotUse(folder, error);
    if (const auto tree = kernelTreeOf(real)) {
        return "kelvora-cli: \"" + folder + "\" is in " + *tree +
               ", which holds no files to compare";
    }
    return std::nullopt;
}

std::vector<std::string> splitExtensions(const std::string& list) {
    std::vector<std::string> out;
    std::size_t start = 0;
    while (start <= list.size()) {
        const auto comma = std::min(list.find(',', start), list.size());
        std::string ext = lowerCased(list.substr(start, comma - start));
        while (ext.starts_with('.')) ext.erase(0, 1);
        if (!ext.empty() && std::find(out.begin(), out.end(), ext) == out.end()) out.push_back(ext);
        start = comma + 1;
    }
    return out;
}

struct Choice {
    const char* option;
    const char* word;
    std::int64_t value;
};

constexpr Choice kChoices[] = {
    {"--keep", "none", 0},    {"--keep", "oldest", 1}, {"--keep", "newest", 2},
    {"--keep", "all", 3},     {"--keep", "custom", 4}, {"--guard", "oldest", 1},
    {"--guard", "newest", 2}, {"--guard", "none", 3},  {"--clean", "trash", 1},
    {"--clean", "delete", 0},
};

std::optional<std::int64_t> choiceOf(const std::string& option, const std::string& word) {
    for (const Choice& choice : kChoices) {
        if (option == choice.option && word == choice.word) return choice.value;
    }
    return std::nullopt;
}

std::string choicesOf(const std::string& option) {
    std::string words;
    for (const Choice& choice : kChoices) {
        if (option == choice.option) words += std::string(words.empty() ? "" : ", ") + choice.word;
    }
    return words;
}

}  // namespace

ParseOutcome parseOptions(const std::vector<std::string>& arguments,
                          const std::string& homeFolder) {
    CliOptions options;
    auto fail = [](std::string message) { return ParseOutcome{std::nullopt, std::move(message)}; };
    bool onlyFolders = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        auto value = [&](const std::string& name) -> std::optional<std::string> {
            const std::string prefix = name + "=";
            if (argument.starts_with(prefix)) return argument.substr(prefix.size());
            if (argument == name && i + 1 < arguments.size()) return arguments[++i];
            return std::nullopt;
        };
        auto isOption = [&](const std::string& name) {
            return argument == name || argument.starts_with(name + "=");
        };
        if (onlyFolders || argument.empty() || argument[0] != '-' || argument == "-") {
            options.folders.push_back(argument);
        } else if (argument == "--") {
            onlyFolders = true;
        } else if (argument == "-h" || argument == "--help") {
            options.help = true;
        } else if (argument == "--version") {
            options.version = true;
        } else if (argument == "--json") {
            options.json = true;
        } else if (argument == "--quiet" || argument == "-q") {
            options.quiet = true;
        } else if (argument == "--include-packages") {
            options.includePackages = true;
        } else if (argument == "--no-cache") {
            options.noCache = true;
        } else if (isOption("--min-size") || isOption("--max-size")) {
            const bool minimum = isOption("--min-size");
            const auto text = value(minimum ? "--min-size" : "--max-size");
            if (!text) return fail("kelvora-cli: " + argument + " needs a size");
            const auto size = parseSize(*text);
            if (!size)
                return fail("kelvora-cli: \"" + *text + "\" is not a size (try 200K, 5M, 1G)");
            (minimum ? options.minimumSize : options.maximumSize) = size;
        } else if (isOption("--profile")) {
            const auto text = value("--profile");
            if (!text || text->empty()) return fail("kelvora-cli: --profile needs a file");
            options.profile = *text;
        } else if (isOption("--threads")) {
            const auto text = value("--threads");
            if (!text || text->empty() ||
                text->find_first_not_of("0123456789") != std::string::npos) {
                return fail("kelvora-cli: --threads needs a number of threads, such as 2");
            }
            const std::size_t digits = text->find_first_not_of('0');
            if (digits != std::string::npos &&
                (text->size() - digits > 3 || std::stoul(text->substr(digits)) > kMostThreads)) {
                return fail("kelvora-cli: --threads takes at most " + std::to_string(kMostThreads) +
                            " threads");
            }
            options.threads =
                digits == std::string::npos ? 0u : static_cast<unsigned>(std::stoul(*text));
        } else if (isOption("--keep") || isOption("--guard") || isOption("--clean")) {
            const std::string name = argument.substr(0, argument.find('='));
            const auto text = value(name);
            const auto choice = text ? choiceOf(name, *text) : std::nullopt;
            if (!choice) return fail("kelvora-cli: " + name + " takes one of: " + choicesOf(name));
            if (name == "--keep") options.keep = *choice;
            if (name == "--guard") options.guard = *choice;
            if (name == "--clean") options.cleanToTrash = *choice == 1;
        } else if (isOption("--rules")) {
            const auto text = value("--rules");
            if (!text || text->empty()) return fail("kelvora-cli: --rules needs a file");
            options.rulesFile = *text;
        } else if (isOption("--reference")) {
            const auto text = value("--reference");
            if (!text || text->empty()) return fail("kelvora-cli: --reference needs a folder");
            options.referenceFolders.push_back(*text);
        } else if (argument == "--history") {
            options.history = true;
        } else if (isOption("--undo")) {
            const auto text = value("--undo");
            if (!text || text->empty()) return fail("kelvora-cli: --undo needs last or an id");
            options.undo = *text;
        } else if (argument == "--yes" || argument == "-y") {
            options.yes = true;
        } else if (argument == "--dry-run" || argument == "-n") {
            options.dryRun = true;
        } else if (isOption("--ext")) {
            const auto text = value("--ext");
            if (!text) return fail("kelvora-cli: --ext needs a list such as jpg,png");
            options.extensions = splitExtensions(*text);
            if (options.extensions.empty()) return fail("kelvora-cli: --ext names no file type");
        } else {
            return fail("kelvora-cli: unknown option " + argument);
        }
    }
    if (options.help || options.version || options.history || options.undo) return {options, {}};
    if (options.keep == 4 && options.rulesFile.empty()) {
        return fail("kelvora-cli: --keep custom needs the rules: --rules FILE");
    }
    if (!options.rulesFile.empty() && options.keep != 4) {
        return fail("kelvora-cli: --rules goes with --keep custom");
    }
    if ((options.cleanToTrash || options.dryRun) && !options.keep) {
        return fail("kelvora-cli: say which copies go with --keep before removing any");
    }
    if (options.folders.empty() && options.referenceFolders.empty()) {
        // Never the whole machine in place of a home that is not set.
        if (homeFolder.empty())
            return fail("kelvora-cli: no folder given, and HOME is not set to search your home");
        options.folders.push_back(homeFolder);
    }
    for (std::string& folder : options.folders) {
        if (auto problem = checkFolder(folder)) return fail(*problem);
    }
    for (std::string& folder : options.referenceFolders) {
        if (auto problem = checkFolder(folder)) return fail(*problem);
        options.folders.push_back(folder);
    }
    return {options, {}};
}

}  // namespace kelvora::cli
