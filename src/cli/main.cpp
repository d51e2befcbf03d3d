// kelvora-cli: one search with the desktop application's engine, from a terminal.
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <optional>

#include "KelvoraVersion.h"
#include "cli/Cleanup.h"
#include "cli/CliOptions.h"
#include "cli/History.h"
#include "cli/Report.h"
#include "core/SettingsManager.h"
#include "core/Texts.h"
#include "engine/FileTools.h"
#include "engine/SearchRun.h"
#include "platform/DigestCache.h"
#include "platform/FileSystem.h"
#include "platform/Memory.h"
#include "platform/NotificationCenter.h"
#include "platform/Queues.h"
#include "profiles/Profile.h"
#include "profiles/ProfileFile.h"
#include "results/Cleaning.h"

using namespace kelvora;

namespace {

std::atomic<bool>* cancelFlag = nullptr;
std::atomic<int> interruptedBy{0};

extern "C" void onInterrupt(int signal) {
    interruptedBy.store(signal);
    if (cancelFlag != nullptr) cancelFlag->store(true);
}

// During the search a second Ctrl-C ends the program at once (resetHand restores the default);
// during a cleaning every one only asks it to stop after the copy in hand, so that no copy is
// left half moved.
void installInterruptHandler(std::atomic<bool>& flag, bool resetHand) {
    cancelFlag = &flag;
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    action.sa_flags = resetHand ? SA_RESETHAND : 0;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

// A live status line on a terminal, redrawn at most ten times a second: the engine posts
// once per entry, far more often than anyone can read.
class ProgressLine {
public:
    explicit ProgressLine(bool enabled) : enabled_(enabled) {}

    void update(const platform::UserInfo& info) {
        const std::int64_t total = info.find(kTotalFiles)->second;
        const std::int64_t checked = info.find(kCheckedFiles)->second;
        filesFound_.store(total);
        if (!enabled_) return;
        const auto now = std::chrono::steady_clock::now();
        if (now - lastDraw_ < std::chrono::milliseconds(100) && checked != total) return;
        lastDraw_ = now;
        if (checked == 0) {
            std::fprintf(stderr, "\r\033[KScanning: %lld files found",
                         static_cast<long long>(total));
        } else {
            const float percent = static_cast<float>(checked) / static_cast<float>(total) * 100.0f;
            std::fprintf(stderr, "\r\033[KComparing: %lld/%lld files (%.1f%%)",
                         static_cast<long long>(checked), static_cast<long long>(total),
                         static_cast<double>(percent));
        }
        drawn_ = true;
    }
    void clear() {
        if (drawn_) std::fputs("\r\033[K", stderr);
    }
    std::int64_t filesFound() const { return filesFound_.load(); }

private:
    bool enabled_;
    bool drawn_ = false;
    std::atomic<std::int64_t> filesFound_{0};
    std::chrono::steady_clock::time_point lastDraw_{};
};

// The profile first, then what the command line says on top of it.
std::optional<std::string> applyOptions(const cli::CliOptions& options, SettingsManager& settings) {
    if (!options.profile.empty()) {
        const auto profile = loadProfile(options.profile);
        if (!profile)
            return std::string("kelvora-cli: ") + kCouldNotLoadProfile + " " + profile.error();
        applyProfile(*profile, settings);
    }
    settings.listFolderPaths = options.folders;
    settings.referenceFolderPaths = options.referenceFolders;
    if (options.minimumSize) settings.minimumFileSize = *options.minimumSize;
    if (options.maximumSize) settings.maximumFileSize = *options.maximumSize;
    if (!options.extensions.empty()) {
        settings.customFileTypes = true;
        settings.listFileExtensions = options.extensions;
    }
    if (options.includePackages) settings.ignorePackages = false;
    if (settings.minimumFileSize > settings.maximumFileSize) {
        return "kelvora-cli: the minimum size (" + sizeText(settings.minimumFileSize) +
               ") is above the maximum size (" + sizeText(settings.maximumFileSize) + ")";
    }
    settings.searchCanceledByUser = false;
    return std::nullopt;
}

int run(int argc, char** argv) {
    kelvora::platform::returnLargeBlocksWhenFreed();
    kelvora::platform::reserveDescriptorTable();
    // Nothing here writes to the C library's stdout, so the C++ streams may keep their own
    // buffer rather than pass every piece of every line through it (the 105,000 lines of a
    // 200,000-file tree's groups: 9.9 to 5.3 ms).
    std::ios::sync_with_stdio(false);
    const char* home = std::getenv("HOME");
    const auto parsed =
        cli::parseOptions(std::vector<std::string>(argv + 1, argv + argc), home ? home : "");
    if (!parsed.options) {
        std::cerr << parsed.error << "\nTry 'kelvora-cli --help'.\n";
        return 2;
    }
    const cli::CliOptions& options = *parsed.options;
    if (options.help) {
        std::cout << cli::kUsage;
        return 0;
    }
    if (options.version) {
        std::cout << "kelvora-cli " << kVersionText << '\n';
        return 0;
    }
    if (options.history) return cli::printHistory(std::cout, options.json);
    if (options.undo) return cli::undo(*options.undo, std::cout, std::cerr, options.json);

    SettingsManager& settings = SettingsManager::shared();
    if (auto problem = applyOptions(options, settings)) {
        std::cerr << *problem << "\nTry 'kelvora-cli --help'.\n";
        return 2;
    }
    const auto rules = cli::loadRules(options);
    if (!rules) {
        std::cerr << rules.error() << '\n';
        return 2;
    }

    // Static so that it outlives the background worker, which still schedules the run's end
    // on it after a cancel has already ended the loop.
    static platform::RunLoop mainLoop;
    platform::setMainQueue(&mainLoop);
    installInterruptHandler(settings.searchCanceledByUser, true);

    auto& center = platform::NotificationCenter::defaultCenter();
    ProgressLine progress(!options.quiet && ::isatty(STDERR_FILENO));
    platform::ObserverRegistration progressObserver(
        center, kUpdateProgress, [&](const platform::UserInfo& info) { progress.update(info); });
    platform::ObserverRegistration finishedObserver(
        center, kSearchThreadFinished,
        [](const platform::UserInfo&) { mainLoop.async([] { mainLoop.quit(); }); });

    auto run = SearchRun::create({settings, center, platform::globalQueue(), mainLoop},
                                 [] { mainLoop.quit(); });
    if (options.threads) run->setHashThreads(*options.threads);
    if (!options.noCache) run->setDigestCache(platform::DigestCache::defaultPath());
    run->startSearch();
    mainLoop.run();
    progress.clear();

    if (settings.searchCanceledByUser.load()) {
        std::cerr << "Search cancelled.\n";
        return 130;
    }
    cli::applyKeep(options, *rules, settings);
    if (options.json) {
        cli::writeJson(std::cout, progress.filesFound(), settings.duplicateFileList);
    } else {
        cli::writeText(std::cout, settings.duplicateFileList, options.keep.has_value());
    }
    std::cout.flush();
    run->waitForCache();
    if (!options.cleanToTrash) {
        // Nothing is left to do but give back what the search holds, which the system does
        // at once on exit; freeing the records one by one first would only add to the wait.
        std::_Exit(std::cout ? 0 : 1);
    }
    static CleaningProgress cleaning;
    installInterruptHandler(cleaning.stop, false);
    // With --json the plan and the questions go to stderr so that stdout stays one object.
    const int code = cli::runCleaning(options, settings, std::cin,
                                      options.json ? std::cerr : std::cout, cleaning);
    return cleaning.stop.load() ? 128 + interruptedBy.load() : code;
}

}  // namespace

// The last resort: whatever input reaches an exception nobody handled ends with a line that
// says so and the code for an internal error, never with an abort and a core dump.
int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "kelvora-cli: internal error: %s\n", error.what());
    } catch (...) {
        std::fprintf(stderr, "kelvora-cli: internal error: an unknown exception\n");
    }
    return 70;
}
