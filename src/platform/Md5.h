// MD5 digests and their base64 text, through GLib.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "platform/FileSystem.h"
#include "platform/Result.h"

namespace kelvora::platform {

using Md5Digest = std::array<std::uint8_t, 16>;

// Streams the file through a fixed buffer: the same digest as reading it whole, with memory
// bounded whatever the file's size. Special files are refused rather than opened for reading,
// so a named pipe can never block the search.
// With a cancel flag, the read stops between chunks once it is set (the result is then a
// failure), so a cancel takes effect even in the middle of a very large file.
// bytesRead, when given, receives the number of bytes the digest covers. The bytes also go to
// the process's contents meter (ReadMeter.h).
Result<Md5Digest> md5OfFile(const std::string& path, const std::atomic<bool>* canceled = nullptr,
                            std::uint64_t* bytesRead = nullptr);
// Up to maxBytes from the start of a regular file (fewer when the file is shorter); fileSize,
// when given, receives the file's size at that moment.
Result<std::string> readPrefix(const std::string& path, std::size_t maxBytes,
                               std::uint64_t* fileSize = nullptr);
Md5Digest md5OfBytes(const void* data, std::size_t length);

// Opens a regular file for reading; anything else (a folder, a pipe, a device) is refused
// with the text that says why, and a pipe never waits for a writer.
Result<FileHandle> openRegularFile(const std::string& path);
// read(2) that goes on after an interruption: the bytes read, or -1 with errno set.
long readSome(int fd, void* buffer, std::size_t length);

// Standard base64 with "=" fill, no line breaks: 24 characters for a digest.
std::string base64(const Md5Digest& digest);

}  // namespace kelvora::platform
