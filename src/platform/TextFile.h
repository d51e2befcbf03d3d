// Small text files the user names (profiles, rule texts, the defaults file): read whole, but
// only when they are regular files of a bounded size, so that a pipe, a device or a huge file
// chosen by mistake is refused at once instead of hanging or filling memory.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/Result.h"

namespace kelvora::platform {

// The file's bytes (links followed), or why it was refused: what the system said, "not a
// regular file", or "too large for " and what (e.g. "a profile") when it holds more than
// maximumBytes.
Result<std::string> readSmallTextFile(const std::string& path, std::size_t maximumBytes,
                                      std::string_view what);

}  // namespace kelvora::platform
