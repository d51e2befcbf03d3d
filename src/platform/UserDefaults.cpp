// The user-defaults store as a GKeyFile: one group of string values. The file is read on every
// read, so a value another window or process stored is seen at once.
#include "platform/UserDefaults.h"

#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <utility>

#include "platform/Console.h"
#include "platform/FileSystem.h"
#include "platform/GLib.h"
#include "platform/TextFile.h"

namespace kelvora::platform {

namespace {

constexpr const char* kGroup = "Kelvora";
// A few keys of a few words each; anything near this size is not a file we wrote.
constexpr const char* kUsingDefaults = "; the preferences it holds are not used";
constexpr const char* kNotStored = "; the preferences were not stored";
constexpr std::size_t kMaximumDefaultsBytes = 256 * 1024;

struct KeyFileFree {
    void operator()(GKeyFile* file) const { glib().keyFileFree(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileFree>;

struct GFree {
    void operator()(gchar* text) const { glib().free(text); }
};
using GText = std::unique_ptr<gchar, GFree>;

// Every read and write goes through here, but a user wants to hear of a bad file or folder
// once per run, not at every look-up.
void reportOnce(std::atomic<bool>& reported, const std::string& line) {
    if (!reported.exchange(true)) console(line);
}

// A missing, unreadable or damaged file reads as an empty store; what a damaged file half
// held is not trusted. Only a missing file is normal and goes unreported.
KeyFile load(const std::string& path) {
    static std::atomic<bool> reported{false};
    KeyFile file(glib().keyFileNew());
    struct stat st;
    if (::stat(path.c_str(), &st) != 0 && errno == ENOENT) return file;
    const Result<std::string> text = readSmallTextFile(path, kMaximumDefaultsBytes, "preferences");
    if (!text) {
        reportOnce(reported, "Error: " + text.error() + kUsingDefaults);
        return file;
    }
    GError* error = nullptr;
    if (glib().keyFileLoadFromData(file.get(), text->data(), text->size(), G_KEY_FILE_KEEP_COMMENTS,
                                   &error)) {
        return file;
    }
    // GLib's own text quotes the offending line, which in a damaged file is binary noise.
    reportOnce(reported, "Error: \"" + path + "\": damaged" + kUsingDefaults);
    glib().clearError(&error);
    return KeyFile(glib().keyFileNew());
}

std::string defaultPath() {
    const GText path(
        glib().buildFilename(glib().getUserConfigDir(), "kelvora", "defaults.ini", nullptr));
    return path.get();
}

bool makeParentFolder(const std::string& path) {
    const GText folder(glib().pathGetDirname(path.c_str()));
    return glib().mkdirWithParents(folder.get(), 0700) == 0;
}

}  // namespace

UserDefaults::UserDefaults() : filePath_(defaultPath()) {}

UserDefaults::UserDefaults(std::string filePath) : filePath_(std::move(filePath)) {}

std::optional<std::string> UserDefaults::stringForKey(const std::string& key) const {
    if (const auto found = pending_.find(key); found != pending_.end()) return found->second;
    const KeyFile file = load(filePath_);
    GError* error = nullptr;
    const GText value(glib().keyFileGetString(file.get(), kGroup, key.c_str(), &error));
    glib().clearError(&error);
    if (!value) return std::nullopt;
    return std::string(value.get());
}

void UserDefaults::setString(const std::string& key, const std::string& value) {
    pending_[key] = value;
}

// The file is read again just before it is written, so values another instance stored
// meanwhile survive; the save itself replaces the file atomically.
bool UserDefaults::synchronize() {
    static std::atomic<bool> reported{false};
    if (pending_.empty()) return true;
    if (!makeParentFolder(filePath_)) {
        reportOnce(reported, "Error: " + errorDescription(filePath_, errno) + kNotStored);
        return false;
    }
    const KeyFile file = load(filePath_);
    for (const auto& [key, value] : pending_) {
        glib().keyFileSetString(file.get(), kGroup, key.c_str(), value.c_str());
    }
    GError* error = nullptr;
    const bool saved = glib().keyFileSaveToFile(file.get(), filePath_.c_str(), &error);
    if (saved) {
        pending_.clear();
    } else {
        reportOnce(reported, "Error: " + std::string(error->message) + kNotStored);
    }
    glib().clearError(&error);
    return saved;
}

}  // namespace kelvora::platform
