// Temporary trees, unprivileged checks and console capture for the tests.
#include "support/TempTree.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <stdexcept>

#include "platform/Console.h"

namespace fs = std::filesystem;

namespace kelvora::testing {

TempTree::TempTree() {
    std::string pattern = (fs::temp_directory_path() / "kelvora-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    // Its real path: the walk judges links by where they really lead, and tests compare
    // those places with paths under the root.
    root_ = fs::canonical(pattern).string();
    ::chmod(root_.c_str(), 0755);
}

TempTree::~TempTree() {
    // Give back every permission a test took away so that the whole tree can go.
    std::error_code error;
    for (auto it = fs::recursive_directory_iterator(root_, error);
         it != fs::recursive_directory_iterator(); it.increment(error)) {
        if (!it->is_symlink())
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, error);
    }
    fs::remove_all(root_, error);
}

std::string TempTree::createFolder(const std::string& relative) {
    fs::create_directories(path(relative));
    return path(relative);
}

std::string TempTree::createFile(const std::string& relative, const std::string& contents) {
    const std::string full = path(relative);
    fs::create_directories(fs::path(full).parent_path());
    std::ofstream(full, std::ios::binary) << contents;
    return full;
}

std::string TempTree::createFilled(const std::string& relative, std::uint64_t size, char byte) {
    return createFile(relative, std::string(size, byte));
}

std::string TempTree::createSparse(const std::string& relative, std::uint64_t size,
                                   std::uint64_t markerAt, char marker) {
    const std::string full = createFile(relative, "");
    const int fd = ::open(full.c_str(), O_WRONLY);
    if (::ftruncate(fd, static_cast<off_t>(size)) != 0 ||
        ::pwrite(fd, &marker, 1, static_cast<off_t>(markerAt)) != 1) {
        ::close(fd);
        throw std::runtime_error("cannot make sparse file " + full);
    }
    ::close(fd);
    return full;
}

std::string TempTree::createSymlink(const std::string& relative, const std::string& target) {
    fs::create_directories(fs::path(path(relative)).parent_path());
    fs::create_symlink(target, path(relative));
    return path(relative);
}

std::string TempTree::createHardLink(const std::string& relative, const std::string& existing) {
    fs::create_hard_link(existing, path(relative));
    return path(relative);
}

ScopedMount::ScopedMount(const std::string& type, const std::string& target,
                         const std::string& options)
    : target_(target) {
    if (::mount(type.c_str(), target.c_str(), type.c_str(), 0, options.c_str()) != 0) {
        error_ = errno;
    }
}

ScopedMount::~ScopedMount() {
    if (mounted()) ::umount2(target_.c_str(), MNT_DETACH);
}

std::string ScopedMount::refusal() const {
    return "cannot mount on " + target_ + ": " + std::strerror(error_);
}

bool runWithoutPrivileges(const std::function<bool()>& check) {
    if (::geteuid() != 0) return check();
    const pid_t child = ::fork();
    if (child == 0) {
        const uid_t nobody = 65534;
        if (::setgid(nobody) != 0 || ::setuid(nobody) != 0) ::_exit(3);
        ::_exit(check() ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

ConsoleCollector::ConsoleCollector() : lines_(std::make_shared<std::vector<std::string>>()) {
    platform::setConsoleSink([lines = lines_](const std::string& line) { lines->push_back(line); });
}

ConsoleCollector::~ConsoleCollector() {
    platform::setConsoleSink({});
}

std::vector<std::string> ConsoleCollector::lines() const {
    return *lines_;
}

bool ConsoleCollector::anyStartsWith(const std::string& prefix) const {
    for (const std::string& line : *lines_) {
        if (line.starts_with(prefix)) return true;
    }
    return false;
}

}  // namespace kelvora::testing
