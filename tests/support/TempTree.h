// Real folder trees in a fresh temporary folder, removed again when the test ends.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kelvora::testing {

class TempTree {
public:
    TempTree();
    ~TempTree();
    TempTree(const TempTree&) = delete;
    TempTree& operator=(const TempTree&) = delete;

    const std::string& root() const { return root_; }
    std::string path(const std::string& relative) const { return root_ + "/" + relative; }

    // Creates the file and any missing parent folders; returns its absolute path.
    std::string createFile(const std::string& relative, const std::string& contents);
    // A file of the given size full of one repeated byte.
    std::string createFilled(const std::string& relative, std::uint64_t size, char byte = 'x');
    // A sparse file: cheap even at hundreds of MiB. marker is written at offset markerAt.
    std::string createSparse(const std::string& relative, std::uint64_t size,
                             std::uint64_t markerAt, char marker);
    std::string createFolder(const std::string& relative);
    std::string createSymlink(const std::string& relative, const std::string& target);
    std::string createHardLink(const std::string& relative, const std::string& existing);

private:
    std::string root_;
};

// A file system mounted on a folder for one test and detached when it goes. Where this
// process may not mount, mounted() is false and the test skips.
class ScopedMount {
public:
    ScopedMount(const std::string& type, const std::string& target, const std::string& options);
    ~ScopedMount();
    ScopedMount(const ScopedMount&) = delete;
    ScopedMount& operator=(const ScopedMount&) = delete;
    bool mounted() const { return error_ == 0; }
    // What the system said when it refused.
    std::string refusal() const;

private:
    std::string target_;
    int error_ = 0;
};

// Runs check in a child process without root's power to read everything, so permission
// tests mean the same for a developer and for CI running as root. Returns check's answer.
bool runWithoutPrivileges(const std::function<bool()>& check);

// Lines the engine printed on the console while the collector lived.
class ConsoleCollector {
public:
    ConsoleCollector();
    ~ConsoleCollector();
    std::vector<std::string> lines() const;
    bool anyStartsWith(const std::string& prefix) const;

private:
    std::shared_ptr<std::vector<std::string>> lines_;
};

}  // namespace kelvora::testing
