// What the command line prints: the groups as text blocks or as one JSON object.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "core/File.h"

namespace kelvora::cli {

// With checks, each member line says whether the copy is kept or selected for removal.
void writeText(std::ostream& out, const FileList& groups, bool showChecks = false);
void writeJson(std::ostream& out, std::int64_t filesFound, const FileList& groups);

// A JSON string literal. Bytes that are not valid UTF-8 are written as the escapes
// \udc80 to \udcff (one per byte), so that a path of any bytes reads back to the same bytes.
std::string jsonString(std::string_view text);

}  // namespace kelvora::cli
