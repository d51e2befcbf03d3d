// Each test process gets a home of its own before anything asks GLib where home is: GLib reads
// HOME and XDG_DATA_HOME once, and tests that run side by side must not share a trash or a lock.
// Temporary trees go inside it too (TMPDIR), so trashed files stay on the home's file system.
#include <stdlib.h>

#include <filesystem>
#include <string>

namespace {

namespace fs = std::filesystem;

class TestHome {
public:
    TestHome() {
        std::string pattern = (fs::temp_directory_path() / "kelvora-results-home-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) return;
        root_ = pattern;
        fs::create_directories(root_ + "/tmp");
        ::setenv("HOME", root_.c_str(), 1);
        ::setenv("XDG_DATA_HOME", (root_ + "/.local/share").c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", (root_ + "/.config").c_str(), 1);
        ::setenv("XDG_CACHE_HOME", (root_ + "/.cache").c_str(), 1);
        ::setenv("TMPDIR", (root_ + "/tmp").c_str(), 1);
        // The cleaning's lock too: test programs that run side by side must not wait on it.
        ::setenv("XDG_RUNTIME_DIR", (root_ + "/run").c_str(), 1);
        ::setenv("XDG_STATE_HOME", (root_ + "/.local/state").c_str(), 1);
    }
    ~TestHome() {
        std::error_code ignored;
        if (!root_.empty()) fs::remove_all(root_, ignored);
    }

private:
    std::string root_;
};

const TestHome testHome;

}  // namespace
