// The user-defaults store as a GKeyFile: one group of string values. The file is read on every
// read, so a value another window or process stored is seen at once.
#include "platform/UserDefaults.h"

#include <glib.h>

#include <memory>
#include <utility>

namespace kelvora::platform {

namespace {

constexpr const char* kGroup = "Kelvora";

struct KeyFileFree {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileFree>;

struct GFree {
    void operator()(gchar* text) const { g_free(text); }
};
using GText = std::unique_ptr<gchar, GFree>;

// A missing, unreadable or damaged file reads as an empty store; what a damaged file half
// held is not trusted.
KeyFile load(const std::string& path) {
    KeyFile file(g_key_file_new());
    GError* error = nullptr;
    if (g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_KEEP_COMMENTS, &error)) {
        return file;
    }
    g_clear_error(&error);
    return KeyFile(g_key_file_new());
}

std::string defaultPath() {
    const GText path(g_build_filename(g_get_user_config_dir(), "kelvora", "defaults.ini", nullptr));
    return path.get();
}

bool makeParentFolder(const std::string& path) {
    const GText folder(g_path_get_dirname(path.c_str()));
    return g_mkdir_with_parents(folder.get(), 0700) == 0;
}

}  // namespace

UserDefaults::UserDefaults() : filePath_(defaultPath()) {}

UserDefaults::UserDefaults(std::string filePath) : filePath_(std::move(filePath)) {}

std::optional<std::string> UserDefaults::stringForKey(const std::string& key) const {
    if (const auto found = pending_.find(key); found != pending_.end()) return found->second;
    const KeyFile file = load(filePath_);
    GError* error = nullptr;
    const GText value(g_key_file_get_string(file.get(), kGroup, key.c_str(), &error));
    g_clear_error(&error);
    if (!value) return std::nullopt;
    return std::string(value.get());
}

void UserDefaults::setString(const std::string& key, const std::string& value) {
    pending_[key] = value;
}

// The file is read again just before it is written, so values another instance stored
// meanwhile survive; the save itself replaces the file atomically.
bool UserDefaults::synchronize() {
    if (pending_.empty()) return true;
    if (!makeParentFolder(filePath_)) return false;
    const KeyFile file = load(filePath_);
    for (const auto& [key, value] : pending_) {
        g_key_file_set_string(file.get(), kGroup, key.c_str(), value.c_str());
    }
    GError* error = nullptr;
    const bool saved = g_key_file_save_to_file(file.get(), filePath_.c_str(), &error);
    g_clear_error(&error);
    if (saved) pending_.clear();
    return saved;
}

}  // namespace kelvora::platform
