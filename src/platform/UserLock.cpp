// The lock file of a user's Kelvora processes.
#include "platform/UserLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace kelvora::platform {

namespace {

// The folder for lock files: the session's runtime folder, which the system empties at log
// out, else the user's state folder.
std::string lockFolder() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && runtime[0] == '/')
        return std::string(runtime) + "/kelvora";
    return userStateFolder();
}

}  // namespace

UserLock::UserLock(const std::string& name) {
    const std::string folder = lockFolder();
    if (const int error = makePrivateFolders(folder); error != 0) {
        error_ = errorDescription(folder, error);
        return;
    }
    const std::string path = folder + "/" + name + ".lock";
    file_ = FileHandle(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!file_.valid()) {
        error_ = errorDescription(path, errno);
        return;
    }
    while (::flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno == EINTR) continue;
        if (errno == EWOULDBLOCK) {
            state_ = State::Busy;
        } else {
            error_ = errorDescription(path, errno);
        }
        file_.reset();
        return;
    }
    state_ = State::Held;
}

}  // namespace kelvora::platform
