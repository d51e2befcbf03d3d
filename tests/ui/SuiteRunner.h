// One Qt application for a test program's suites, with a main queue on its event loop.
#pragma once

#include <utility>
#include <vector>

namespace kelvora::testing {

using Suite = std::pair<const char*, int (*)(int, char**)>;

// "program Suite [Qt Test options]" runs one suite, so that Qt Test's own selection of test
// functions can be used; without a suite name every suite runs in turn.
int runSuites(int argc, char** argv, const std::vector<Suite>& suites);

}  // namespace kelvora::testing
