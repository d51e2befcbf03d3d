// kelvora-cli cleaning as a user meets it at the terminal: a file changed while the question
// waits, and a Ctrl-C in the middle of a long cleaning.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "support/TempTree.h"

namespace kelvora {
namespace {

namespace fs = std::filesystem;

// A running kelvora-cli with its standard input and output in our hands.
class Cli {
public:
    explicit Cli(const std::string& arguments, const std::string& home) {
        int in[2], out[2];
        if (::pipe(in) != 0 || ::pipe(out) != 0) return;
        pid_ = ::fork();
        if (pid_ == 0) {
            ::dup2(in[0], STDIN_FILENO);
            ::dup2(out[1], STDOUT_FILENO);
            ::close(in[1]);
            ::close(out[0]);
            ::setenv("HOME", home.c_str(), 1);
            ::setenv("XDG_DATA_HOME", (home + "/share").c_str(), 1);
            ::unsetenv("XDG_RUNTIME_DIR");
            ::unsetenv("XDG_STATE_HOME");
            const std::string command = "exec '" + std::string(KELVORA_CLI) + "' " + arguments;
            ::execl("/bin/sh", "sh", "-c", command.c_str(), static_cast<char*>(nullptr));
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        in_ = in[1];
        out_ = out[0];
    }
    ~Cli() {
        if (in_ >= 0) ::close(in_);
        if (out_ >= 0) ::close(out_);
        if (pid_ > 0 && !exited_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    // Reads the output until it holds text; false when the program ended first.
    bool waitFor(const std::string& text) {
        while (output_.find(text) == std::string::npos) {
            char buffer[65536];
            const ssize_t got = ::read(out_, buffer, sizeof buffer);
            if (got <= 0) return false;
            output_.append(buffer, static_cast<std::size_t>(got));
        }
        return true;
    }
    void answer(const std::string& line) {
        const std::string text = line + "\n";
        ASSERT_EQ(::write(in_, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void signal(int number) { ::kill(pid_, number); }
    int exitCode() {
        waitFor("\x01never printed");
        int status = 0;
        ::waitpid(pid_, &status, 0);
        exited_ = true;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    const std::string& output() const { return output_; }

private:
    pid_t pid_ = -1;
    int in_ = -1, out_ = -1;
    bool exited_ = false;
    std::string output_;
};

std::string contentsOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

std::string randomBytes(std::size_t size) {
    std::mt19937 random(7);
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    return bytes;
}

// The path on the output line that starts with prefix.
std::string pathAfter(const std::string& output, const std::string& prefix) {
    const auto start = output.find(prefix);
    if (start == std::string::npos) return {};
    const auto from = start + prefix.size();
    return output.substr(from, output.find('\n', from) - from);
}

TEST(CliCleaning, aCopyThatStaysRewrittenWhileTheQuestionWaitsKeepsTheOtherCopy) {
    for (const char* mode : {"delete", "trash"}) {
        SCOPED_TRACE(mode);
        testing::TempTree tree;
        const std::string original = randomBytes(300000);
        tree.createFile("d/a", original);
        tree.createFile("d/b", original);
        Cli cli(
            std::string("--min-size 1 --keep oldest --clean ") + mode + " '" + tree.path("d") + "'",
            tree.createFolder("home"));
        ASSERT_TRUE(cli.waitFor("[y/N]")) << cli.output();
        const std::string stays = pathAfter(cli.output(), "keep    ");
        const std::string goes = pathAfter(cli.output(), "remove  ");
        ASSERT_FALSE(stays.empty() || goes.empty()) << cli.output();
        // Rewritten in place, its size and modification time put back.
        struct stat before;
        ASSERT_EQ(::stat(stays.c_str(), &before), 0);
        std::fstream(stays, std::ios::in | std::ios::out | std::ios::binary).write("CHANGED", 7);
        const struct timespec times[2] = {before.st_atim, before.st_mtim};
        ASSERT_EQ(::utimensat(AT_FDCWD, stays.c_str(), times, 0), 0);
        cli.answer("y");
        if (std::string(mode) == "delete") {
            ASSERT_TRUE(cli.waitFor("permanently"));
            cli.answer("y");
        }
        EXPECT_EQ(cli.exitCode(), 1) << cli.output();
        EXPECT_NE(cli.output().find("These copies were not removed:"), std::string::npos);
        EXPECT_EQ(contentsOf(goes), original) << "the only copy of the original bytes";
    }
}

TEST(CliCleaning, oneInterruptStopsACleaningAfterTheCopyInHand) {
    testing::TempTree tree;
    constexpr int kCopies = 20000;
    for (int i = 0; i < kCopies; ++i) tree.createFile("d/" + std::to_string(i), "copy");
    Cli cli("--min-size 1 --keep oldest --clean delete --yes '" + tree.path("d") + "'",
            tree.createFolder("home"));
    ASSERT_TRUE(cli.waitFor(" freed\n")) << "the plan is printed before the cleaning starts";
    ::usleep(20000);
    cli.signal(SIGINT);
    EXPECT_EQ(cli.exitCode(), 130);
    const std::string removed = pathAfter(cli.output(), "The cleaning was interrupted. ");
    ASSERT_FALSE(removed.empty()) << cli.output().substr(cli.output().size() - 300);
    const int count = std::stoi(removed);
    EXPECT_LT(count, kCopies - 1) << "it stopped before its end";
    int left = 0;
    for (const auto& entry : fs::directory_iterator(tree.path("d"))) {
        EXPECT_EQ(contentsOf(entry.path()), "copy") << "nothing half done";
        ++left;
    }
    EXPECT_EQ(left, kCopies - count);
}

// The number after key in a JSON text (the first one), or -1.
long long jsonNumber(const std::string& text, const std::string& key) {
    const auto at = text.find("\"" + key + "\": ");
    return at == std::string::npos ? -1 : std::stoll(text.substr(at + key.size() + 4));
}

std::size_t filesIn(const std::string& folder) {
    std::error_code error;
    std::size_t count = 0;
    for (auto it = fs::directory_iterator(folder, error); it != fs::directory_iterator(); ++it)
        ++count;
    return count;
}

TEST(CliCleaning, aCleaningKilledAtAnyMomentIsUndoneToTheLastByte) {
    testing::TempTree tree;
    constexpr int kCopies = 3000;
    for (int i = 0; i < kCopies; ++i) tree.createFilled("d/" + std::to_string(i), 1024, 'k');
    const std::string home = tree.createFolder("home");
    const std::string trash = home + "/share/Trash";
    std::mt19937 random(11);
    for (int round = 0; round < 5; ++round) {
        SCOPED_TRACE(round);
        {
            Cli cli("--min-size 1 --keep oldest --clean trash --yes '" + tree.path("d") + "'",
                    home);
            ASSERT_TRUE(cli.waitFor(" freed\n"));
            ::usleep(std::uniform_int_distribution<useconds_t>(0, 400000)(random));
            cli.signal(SIGKILL);
            cli.exitCode();
        }
        const std::size_t inPlace = filesIn(tree.path("d"));
        const std::size_t inTrash = filesIn(trash + "/files");
        EXPECT_EQ(inPlace + inTrash, std::size_t{kCopies}) << "every copy in place or in the trash";
        Cli history("--history --json", home);
        EXPECT_EQ(history.exitCode(), 0);
        // Killed before its journal began (a slow build can be): nothing moved, and the first
        // round then has no cleaning to undo.
        const bool none = history.output().find("\"id\"") == std::string::npos;
        if (!none) {
            EXPECT_EQ(jsonNumber(history.output(), "restorable"), static_cast<long long>(inTrash))
                << history.output();
        }
        Cli undo("--undo last", home);
        EXPECT_EQ(undo.exitCode(), none ? 2 : 0) << undo.output();
        EXPECT_EQ(filesIn(tree.path("d")), std::size_t{kCopies}) << "after " << inTrash << " moved";
        EXPECT_EQ(filesIn(trash + "/files") + filesIn(trash + "/info"), 0u);
        for (const auto& entry : fs::directory_iterator(tree.path("d")))
            ASSERT_EQ(contentsOf(entry.path()), std::string(1024, 'k'));
    }
}

}  // namespace
}  // namespace kelvora
