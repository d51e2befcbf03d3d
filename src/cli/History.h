// Past cleanings from the terminal: the list, and putting one back.
#pragma once

#include <ostream>
#include <string>

namespace kelvora::cli {

// One line a cleaning, newest first (or one JSON object). Exit code 0.
int printHistory(std::ostream& out, bool json);

// Undoes the cleaning `which` ("last" or an id) and says what came back and what did not.
// The exit code: 0 when everything came back, 1 when some copies could not, 2 for an unknown
// id.
int undo(const std::string& which, std::ostream& out, std::ostream& err, bool json);

}  // namespace kelvora::cli
