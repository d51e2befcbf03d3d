// An advisory lock that one user's processes share: the desktop windows and the command line
// take the same one, so that two cleanings never run side by side.
#pragma once

#include <string>

#include "platform/FileSystem.h"
#include "platform/Result.h"

namespace kelvora::platform {

class UserLock {
public:
    enum class State { Held, Busy, Unavailable };

    // Takes the lock called `name` without waiting. It lives in $XDG_RUNTIME_DIR/kelvora/,
    // or in $XDG_STATE_HOME/kelvora/ (~/.local/state/kelvora/) where there is no runtime
    // folder. Busy when another process holds it; Unavailable, with error(), when no lock
    // file can be made.
    explicit UserLock(const std::string& name);

    State state() const { return state_; }
    const std::string& error() const { return error_; }

private:
    FileHandle file_;  // the lock goes with the descriptor
    State state_ = State::Unavailable;
    std::string error_;
};

}  // namespace kelvora::platform
