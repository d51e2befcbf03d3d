// kelvora-cli fed every bad argument, file and environment we could think of: each ends with
// its exit code and a message, and none crashes, hangs or runs away with memory. The program
// runs under a memory bound and is killed when it outlives a generous deadline, so that a
// runaway read or a wait for ever fails the test instead of the machine.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "support/TempTree.h"

namespace kelvora {
namespace {

// The sanitizers reserve terabytes of address space at start: the bound holds only without.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kBoundMemory = false;
#else
constexpr bool kBoundMemory = true;
#endif
constexpr rlim_t kMemoryBound = rlim_t{1} << 30;
constexpr auto kDeadline = std::chrono::seconds(10);

struct ChildRun {
    int exitCode = -1;
    int signal = 0;
    bool killed = false;
    std::string out;
    std::string err;
};

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> out;
    for (std::string& text : texts) out.push_back(text.data());
    out.push_back(nullptr);
    return out;
}

// Reads both pipes until they close or the deadline passes.
bool drain(int outFd, int errFd, ChildRun& run) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    pollfd fds[2] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}};
    std::string* sinks[2] = {&run.out, &run.err};
    int open = 2;
    while (open > 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        if (left.count() <= 0 || ::poll(fds, 2, static_cast<int>(left.count())) == 0) return false;
        for (int k = 0; k < 2; ++k) {
            if (fds[k].fd < 0 || fds[k].revents == 0) continue;
            char buffer[4096];
            const ssize_t got = ::read(fds[k].fd, buffer, sizeof buffer);
            if (got > 0) {
                sinks[k]->append(buffer, static_cast<std::size_t>(got));
            } else {
                fds[k].fd = -1;
                --open;
            }
        }
    }
    return true;
}

ChildRun runCli(std::vector<std::string> arguments, std::vector<std::string> environment) {
    arguments.insert(arguments.begin(), KELVORA_CLI);
    const std::vector<char*> argv = pointers(arguments);
    const std::vector<char*> envp = pointers(environment);
    int out[2];
    int err[2];
    if (::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) return {};
    const pid_t child = ::fork();
    if (child == 0) {
        // Only calls that are safe after a fork of a threaded process.
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(err[1], STDERR_FILENO);
        ::dup2(::open("/dev/null", O_RDONLY), STDIN_FILENO);
        const rlimit bound{kMemoryBound, kMemoryBound};
        if (kBoundMemory) ::setrlimit(RLIMIT_AS, &bound);
        ::execve(argv[0], argv.data(), envp.data());
        ::_exit(127);
    }
    ::close(out[1]);
    ::close(err[1]);
    ChildRun run;
    if (!drain(out[0], err[0], run)) {
        ::kill(child, SIGKILL);
        run.killed = true;
    }
    ::close(out[0]);
    ::close(err[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status)) run.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) run.signal = WTERMSIG(status);
    return run;
}

struct Case {
    std::string name;
    std::vector<std::string> arguments;
    int exitCode;
    std::string message;  // appears exactly once in what the program printed
    std::vector<std::string> environment = {};
};

std::size_t occurrences(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

class CliInput : public ::testing::Test {
protected:
    CliInput() {
        home = tree.createFolder("home");
        copies = tree.createFolder("copies");
        file = tree.createFile("file.txt", "text");
        fifo = tree.path("fifo");
        ::mkfifo(fifo.c_str(), 0600);
        tree.createFolder("folder");
        tree.createSymlink("to-urandom", "/dev/urandom");
        tree.createSymlink("to-proc", "/proc/self");
        tree.createSparse("huge", 100 << 20, 5, 'x');
        tree.createFile("damaged", "\x01\xff not a rule text or a profile\n");
        makeSocket(tree.path("socket"));
    }

    static void makeSocket(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::close(fd);
    }

    // A fresh user: nothing of the developer's own configuration is read or written. Each
    // change is NAME=VALUE, or a bare NAME to unset it.
    std::vector<std::string> environment(const std::vector<std::string>& changes) const {
        std::vector<std::string> out = {"PATH=/usr/bin:/bin", "LC_ALL=C", "TZ=UTC", "HOME=" + home,
                                        "XDG_RUNTIME_DIR=" + home};
        for (const std::string& change : changes) {
            const std::string name = change.substr(0, change.find('=')) + "=";
            std::erase_if(out, [&](const std::string& v) { return v.starts_with(name); });
            if (change.find('=') != std::string::npos) out.push_back(change);
        }
        return out;
    }

    void expect(const std::vector<Case>& cases) {
        for (const Case& c : cases) {
            SCOPED_TRACE(c.name);
            tree.createFilled("copies/a", 10, 'c');
            tree.createFilled("copies/b", 10, 'c');
            const ChildRun run = runCli(c.arguments, environment(c.environment));
            EXPECT_FALSE(run.killed) << "still running after the deadline";
            EXPECT_EQ(run.signal, 0) << run.err;
            EXPECT_EQ(run.exitCode, c.exitCode) << run.err;
            if (!c.message.empty()) {
                EXPECT_EQ(occurrences(run.out + run.err, c.message), 1u) << run.out << run.err;
            }
            EXPECT_EQ(run.err.find("internal error"), std::string::npos) << run.err;
        }
    }

    testing::TempTree tree;
    std::string home, copies, file, fifo;
};

TEST_F(CliInput, refusesEveryBadArgumentWithExitCode2) {
    const std::string notSize = "is not a size";
    const std::string noThreads = "--threads needs a number of threads";
    expect({
        {"an empty folder", {""}, 2, "an empty argument names no folder"},
        {"a negative size", {"--min-size", "-1", copies}, 2, "\"-1\" " + notSize},
        {"a missing size", {copies, "--min-size"}, 2, "--min-size needs a size"},
        {"an empty size", {"--max-size=", copies}, 2, "\"\" " + notSize},
        {"an overflowing size", {"--max-size", "99999999999999999999T", copies}, 2, notSize},
        {"one past the largest", {"--max-size", "18446744073709551616", copies}, 2, notSize},
        {"an exponent", {"--min-size", "1e3", copies}, 2, notSize},
        {"hexadecimal", {"--min-size", "0x10", copies}, 2, notSize},
        {"not a number", {"--min-size", "nan", copies}, 2, notSize},
        {"two points", {"--min-size", "1.2.3", copies}, 2, notSize},
        {"an unknown unit", {"--min-size", "5Q", copies}, 2, notSize},
        {"minimum above maximum", {"--min-size", "2M", "--max-size", "1M", copies}, 2, "above"},
        {"too many threads", {"--threads", "100000", copies}, 2, "--threads takes at most 64"},
        {"one thread too many", {"--threads", "065", copies}, 2, "--threads takes at most 64"},
        {"negative threads", {"--threads", "-1", copies}, 2, noThreads},
        {"missing threads", {copies, "--threads"}, 2, noThreads},
        {"threads with a unit", {"--threads", "2x", copies}, 2, noThreads},
        {"a missing keep", {copies, "--keep"}, 2, "--keep takes one of"},
        {"an empty keep", {"--keep=", copies}, 2, "--keep takes one of"},
        {"an unknown guard", {"--guard", "maybe", copies}, 2, "--guard takes one of"},
        {"an unknown clean", {"--clean", "shred", copies}, 2, "--clean takes one of"},
        {"an empty type list", {"--ext", "", copies}, 2, "--ext names no file type"},
        {"only commas", {"--ext", ",.,", copies}, 2, "--ext names no file type"},
        {"a missing type list", {copies, "--ext"}, 2, "--ext needs a list"},
        {"an empty profile", {"--profile", "", copies}, 2, "--profile needs a file"},
        {"an empty rules file", {"--keep", "custom", "--rules=", copies}, 2, "--rules needs"},
        {"rules without custom", {"--rules", file, copies}, 2, "--rules goes with --keep custom"},
        {"custom without rules", {"--keep", "custom", copies}, 2, "needs the rules"},
        {"cleaning without keep", {"--clean", "trash", copies}, 2, "say which copies go"},
        {"an unknown option", {"--frobnicate", copies}, 2, "unknown option --frobnicate"},
        {"a missing folder", {tree.path("missing")}, 2, "No such file or directory"},
        {"a file", {file}, 2, "is not a folder"},
        {"a pipe", {fifo}, 2, "is not a folder"},
        {"a socket", {tree.path("socket")}, 2, "is not a folder"},
        {"a device", {"/dev/null"}, 2, "is not a folder"},
        {"/proc", {"/proc"}, 2, "is in /proc, which holds no files"},
        {"a link into /proc", {tree.path("to-proc")}, 2, "is in /proc, which holds no files"},
        {"/sys", {"/sys/kernel"}, 2, "is in /sys, which holds no files"},
        {"a name too long", {tree.path(std::string(5000, 'n'))}, 2, "File name too long"},
    });
}

TEST_F(CliInput, refusesFilesThatAreNotSmallTextFilesAtOnce) {
    const std::vector<std::string> rules = {"--keep", "custom", copies, "--rules"};
    auto withRules = [&](const std::string& path) {
        std::vector<std::string> arguments = rules;
        arguments.push_back(path);
        return arguments;
    };
    const std::string profile = "Could not load profile.";
    expect({
        {"rules in a pipe", withRules(fifo), 2, "not a regular file"},
        {"endless rules", withRules("/dev/zero"), 2, "not a regular file"},
        {"rules through a link to a device", withRules(tree.path("to-urandom")), 2,
         "not a regular file"},
        {"rules in a folder", withRules(tree.path("folder")), 2, "Is a directory"},
        {"huge rules", withRules(tree.path("huge")), 2, "too large for rules"},
        {"rules that never end", withRules("/proc/self/pagemap"), 2, "too large for rules"},
        {"damaged rules", withRules(tree.path("damaged")), 2, "is not a custom rule text"},
        {"missing rules", withRules(tree.path("missing")), 2, "No such file or directory"},
        {"a profile in a pipe", {"--profile", fifo, copies}, 2, profile},
        {"an endless profile", {"--profile", "/dev/zero", copies}, 2, profile},
        {"a profile in a folder", {"--profile", tree.path("folder"), copies}, 2, profile},
        {"a huge profile", {"--profile", tree.path("huge"), copies}, 2, "too large for a profile"},
        {"a damaged profile", {"--profile", tree.path("damaged"), copies}, 2, profile},
    });
}

TEST_F(CliInput, searchesWhateverTheEnvironmentAndReportsWhatCannotBeStoredOnce) {
    const std::string config = tree.createFolder("config/kelvora");
    const std::vector<std::string> clean = {"--min-size", "1",      "--keep", "oldest",
                                            "--clean",    "delete", "--yes",  copies};
    const std::string notUsed = "the preferences it holds are not used";
    expect({
        {"no HOME and no folder", {}, 2, "HOME is not set", {"HOME"}},
        {"an empty HOME and no folder", {}, 2, "HOME is not set", {"HOME="}},
        {"HOME a file and no folder", {}, 2, "is not a folder", {"HOME=" + file}},
        {"no HOME", {"--min-size", "1", copies}, 0, "", {"HOME"}},
        // Nothing is removed where the cleaning's journal cannot be kept.
        {"HOME a file", clean, 1, "journal could not be written", {"HOME=" + file}},
        {"XDG_CONFIG_HOME a file",
         clean,
         0,
         "Not a directory; " + notUsed,
         {"XDG_CONFIG_HOME=" + file}},
        {"XDG_CACHE_HOME a file", clean, 0, "", {"XDG_CACHE_HOME=" + file}},
        {"XDG_DATA_HOME a file",
         {"--min-size", "1", "--keep", "oldest", "--clean", "trash", "--yes", copies},
         1,
         // The console's error line, and the list of copies that stayed with its reason.
         "could not be removed: the trash",
         {"XDG_DATA_HOME=" + file}},
        {"XDG_STATE_HOME a file",
         clean,
         1,
         "could not take its lock",
         {"XDG_RUNTIME_DIR", "XDG_STATE_HOME=" + file}},
    });
    tree.createFile("config/kelvora/defaults.ini", "\x01\xff\n[Kelvora\nbroken");
    expect({{"damaged defaults",
             clean,
             0,
             "damaged; " + notUsed,
             {"XDG_CONFIG_HOME=" + tree.path("config")}}});
    std::filesystem::remove(config + "/defaults.ini");
    tree.createSparse("config/kelvora/defaults.ini", 100 << 20, 5, 'x');
    expect({{"huge defaults",
             clean,
             0,
             "too large for preferences",
             {"XDG_CONFIG_HOME=" + tree.path("config")}}});
    std::filesystem::remove(config + "/defaults.ini");
    ::mkfifo((config + "/defaults.ini").c_str(), 0600);
    expect({{"defaults in a pipe",
             clean,
             0,
             "not a regular file",
             {"XDG_CONFIG_HOME=" + tree.path("config")}}});
    std::filesystem::remove(config + "/defaults.ini");
    tree.createFolder("config/kelvora/defaults.ini");
    expect({{"defaults in a folder",
             clean,
             0,
             "Is a directory",
             {"XDG_CONFIG_HOME=" + tree.path("config")}}});
}

TEST_F(CliInput, searchesTheFolderTheSystemReachesThroughALinkAndTwoDots) {
    tree.createFilled("real/a", 10, 'r');
    tree.createFilled("real/b", 10, 'r');
    tree.createFolder("real/inner");
    tree.createSymlink("link", tree.path("real/inner"));
    const ChildRun run = runCli({"--min-size", "1", tree.path("link/..")}, environment({}));
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_EQ(run.out,
              "10 B, 2 files\n" + tree.path("real/b") + "\n" + tree.path("real/a") + "\n\n");
}

}  // namespace
}  // namespace kelvora
