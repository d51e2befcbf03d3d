// Whether two open files, or two open folders with everything in them, hold exactly the same
// bytes: the last word before a copy is removed, so it reads every byte of both.
#pragma once

#include <atomic>
#include <string>

#include "platform/Result.h"

namespace kelvora::platform {

// Reads both files in full from their start, side by side. True only when both end after the
// same number of bytes and every byte matches. A read error is a failure naming the path it
// came from. With a stop flag, the read ends between chunks once it is set (a failure).
Result<bool> sameBytes(int first, int second, const std::string& firstPath,
                       const std::string& secondPath, const std::atomic<bool>* stop = nullptr);

// Two folders as trees: the same names at every level, each entry of the same kind, files
// with the same bytes, links with the same target text. Nothing is followed out of either.
Result<bool> sameTree(int first, int second, const std::string& firstPath,
                      const std::string& secondPath, const std::atomic<bool>* stop = nullptr);

}  // namespace kelvora::platform
