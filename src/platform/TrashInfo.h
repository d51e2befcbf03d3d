// The record the freedesktop.org trash keeps beside each item, and the names items get there:
// pure text work, apart from the clock and the time zone.
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace kelvora::platform {

// A name in the trash leaves room for ".trashinfo" after it in the info folder.
inline constexpr std::size_t kMaxTrashName = 255 - std::string_view(".trashinfo").size();

// Every byte but letters, digits, "-_.!~*'()" and '/' as %XX, so that any name (invalid
// UTF-8, a newline) comes back byte for byte from the record.
std::string percentEncoded(std::string_view path);

// The whole .trashinfo text for an item that was at `recordedPath` (absolute, or relative to
// the top of its volume), deleted at `when` in local time.
std::string trashInfoText(std::string_view recordedPath, std::time_t when);

// The path made absolute against the working folder, without "." or doubled separators. ".."
// is kept: a link before it may lead anywhere.
std::string absolutePath(std::string_view path);

// The name an item takes in the trash at its `counter`th try: the name itself at 1, then a
// counter before its extension ("photo.2.jpg"). Shortened, not at a character's middle, to
// fit kMaxTrashName.
std::string trashName(std::string_view name, std::uint64_t counter);

}  // namespace kelvora::platform
