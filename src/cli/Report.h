// What the command line prints: the groups as text blocks or as one JSON object.
#pragma once

#include <ostream>
#include <string>
#include <string_view>

#include "core/File.h"
#include "core/JsonText.h"

namespace kelvora::cli {

// With checks, each member line says whether the copy is kept or selected for removal.
void writeText(std::ostream& out, const FileList& groups, bool showChecks = false);
void writeJson(std::ostream& out, std::int64_t filesFound, const FileList& groups);

using kelvora::jsonString;

}  // namespace kelvora::cli
