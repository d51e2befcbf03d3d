// The console: where failures of file-system calls are reported, one line each.
#pragma once

#include <functional>
#include <string>

namespace kelvora::platform {

// Writes one line to standard error (or to the installed sink).
void console(const std::string& line);

// Tests and front ends may collect the lines instead; an empty function restores stderr.
void setConsoleSink(std::function<void(const std::string&)> sink);

}  // namespace kelvora::platform
