// MD5 digests and their base64 text, through the platform crypto library.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "platform/Result.h"

namespace kelvora::platform {

using Md5Digest = std::array<std::uint8_t, 16>;

// Streams the file through a fixed buffer: the same digest as reading it whole, with memory
// bounded whatever the file's size. Special files are refused rather than opened for reading,
// so a named pipe can never block the search.
Result<Md5Digest> md5OfFile(const std::string& path);
Md5Digest md5OfBytes(const void* data, std::size_t length);

// Standard base64 with "=" fill, no line breaks: 24 characters for a digest.
std::string base64(const Md5Digest& digest);

}  // namespace kelvora::platform
