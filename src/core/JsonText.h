// JSON text of our own files and reports.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kelvora {

// A JSON string literal. Bytes that are not valid UTF-8 are written as the escapes
// \udc80 to \udcff (one per byte), so that a path of any bytes reads back to the same bytes.
std::string jsonString(std::string_view text);

// One flat JSON object on a line: its members, strings unescaped back to their bytes (the
// escapes above included) and other values as they are written. Nothing when the line is
// not such an object.
using JsonMembers = std::map<std::string, std::string, std::less<>>;
std::optional<JsonMembers> parseJsonObject(std::string_view line);

}  // namespace kelvora
