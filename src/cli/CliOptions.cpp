// Parsing and checking the command line.
#include "cli/CliOptions.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "core/File.h"

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
    "  --version             show the version\n";

std::optional<std::uint64_t> parseSize(const std::string& text) {
    if (text.empty() || !(std::isdigit(static_cast<unsigned char>(text[0])) || text[0] == '.')) {
        return std::nullopt;
    }
    std::size_t used = 0;
    long double number = 0;
    try {
        number = std::stold(text, &used);
    } catch (...) {
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
    const long double bytes = std::floor(number * scale);
    if (!std::isfinite(bytes) || bytes < 0 || bytes > 18446744073709551615.0L) return std::nullopt;
    return static_cast<std::uint64_t>(bytes);
}

namespace {

std::string absoluteFolder(const std::string& text) {
    std::filesystem::path path = std::filesystem::absolute(text).lexically_normal();
    std::string out = path.string();
    while (out.size() > 1 && out.back() == '/') out.pop_back();
    return out;
}

std::optional<std::string> checkFolder(const std::string& folder) {
    struct stat st;
    if (::stat(folder.c_str(), &st) != 0) {
        return "kelvora-cli: cannot use folder \"" + folder + "\": " + std::strerror(errno);
    }
    if (!S_ISDIR(st.st_mode)) return "kelvora-cli: \"" + folder + "\" is not a folder";
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
            if (!text || text->empty() || text->size() > 3 ||
                text->find_first_not_of("0123456789") != std::string::npos) {
                return fail("kelvora-cli: --threads needs a number of threads, such as 2");
            }
            options.threads = static_cast<unsigned>(std::stoul(*text));
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
    if (options.help || options.version) return {options, {}};
    if (options.keep == 4 && options.rulesFile.empty()) {
        return fail("kelvora-cli: --keep custom needs the rules: --rules FILE");
    }
    if (!options.rulesFile.empty() && options.keep != 4) {
        return fail("kelvora-cli: --rules goes with --keep custom");
    }
    if ((options.cleanToTrash || options.dryRun) && !options.keep) {
        return fail("kelvora-cli: say which copies go with --keep before removing any");
    }
    if (options.folders.empty()) options.folders.push_back(homeFolder);
    for (std::string& folder : options.folders) {
        folder = absoluteFolder(folder);
        if (auto problem = checkFolder(folder)) return fail(*problem);
    }
    return {options, {}};
}

}  // namespace kelvora::cli
