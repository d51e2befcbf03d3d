// The command line's searches keep a digest cache: in these tests it lives in the build
// folder, never in the developer's own ~/.cache. Set before any test starts a search.
#include <stdlib.h>

namespace {

const int cacheHome = ::setenv("XDG_CACHE_HOME", KELVORA_TEST_CACHE, 1);

}  // namespace
