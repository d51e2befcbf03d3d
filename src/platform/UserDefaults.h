// The user's preferences that outlive the process: a small GKeyFile store under
// $XDG_CONFIG_HOME/kelvora/, written atomically.
#pragma once

#include <map>
#include <optional>
#include <string>

namespace kelvora::platform {

class UserDefaults {
public:
    // The store of the current user (XDG_CONFIG_HOME, else ~/.config).
    UserDefaults();
    // A store in the given file, for tests.
    explicit UserDefaults(std::string filePath);

    std::optional<std::string> stringForKey(const std::string& key) const;
    void setString(const std::string& key, const std::string& value);
    // Writes the values set so far to disk; false when the file cannot be written.
    bool synchronize();

    const std::string& filePath() const { return filePath_; }

private:
    std::string filePath_;
    // Set but not yet written; read before the file so a value is seen as soon as it is set.
    std::map<std::string, std::string> pending_;
};

}  // namespace kelvora::platform
