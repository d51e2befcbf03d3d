// Console output, serialised so that lines from the search and the windows never interleave.
#include "platform/Console.h"

#include <cstdio>
#include <mutex>

namespace kelvora::platform {

namespace {
std::mutex& consoleMutex() {
    static std::mutex mutex;
    return mutex;
}
std::function<void(const std::string&)>& consoleSink() {
    static std::function<void(const std::string&)> sink;
    return sink;
}
}  // namespace

void console(const std::string& line) {
    std::lock_guard lock(consoleMutex());
    if (consoleSink()) {
        consoleSink()(line);
        return;
    }
    std::fwrite(line.data(), 1, line.size(), stderr);
    std::fputc('\n', stderr);
}

void setConsoleSink(std::function<void(const std::string&)> sink) {
    std::lock_guard lock(consoleMutex());
    consoleSink() = std::move(sink);
}

}  // namespace kelvora::platform
