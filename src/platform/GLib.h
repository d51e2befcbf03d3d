// GLib, opened the first time one of its functions is wanted: the defaults file, and MD5 with
// its base64 text. One handle for all, so the library's pages are paid for once.
#pragma once

#include <glib.h>

#include "platform/LazyLibrary.h"

namespace kelvora::platform {

// Each member takes its type from the header's declaration of the function it names.
#define KELVORA_GLIB_FUNCTION(member, function) \
    decltype(&function) member = library.symbol<decltype(function)>(#function)

struct GLib {
    LazyLibrary library{"libglib-2.0.so.0"};
    KELVORA_GLIB_FUNCTION(free, g_free);
    KELVORA_GLIB_FUNCTION(clearError, g_clear_error);
    KELVORA_GLIB_FUNCTION(keyFileNew, g_key_file_new);
    KELVORA_GLIB_FUNCTION(keyFileFree, g_key_file_free);
    KELVORA_GLIB_FUNCTION(keyFileLoadFromData, g_key_file_load_from_data);
    KELVORA_GLIB_FUNCTION(keyFileGetString, g_key_file_get_string);
    KELVORA_GLIB_FUNCTION(keyFileSetString, g_key_file_set_string);
    KELVORA_GLIB_FUNCTION(keyFileSaveToFile, g_key_file_save_to_file);
    KELVORA_GLIB_FUNCTION(buildFilename, g_build_filename);
    KELVORA_GLIB_FUNCTION(getUserConfigDir, g_get_user_config_dir);
    KELVORA_GLIB_FUNCTION(pathGetDirname, g_path_get_dirname);
    KELVORA_GLIB_FUNCTION(mkdirWithParents, g_mkdir_with_parents);
    KELVORA_GLIB_FUNCTION(checksumNew, g_checksum_new);
    KELVORA_GLIB_FUNCTION(checksumUpdate, g_checksum_update);
    KELVORA_GLIB_FUNCTION(checksumGetDigest, g_checksum_get_digest);
    KELVORA_GLIB_FUNCTION(checksumFree, g_checksum_free);
    KELVORA_GLIB_FUNCTION(base64Encode, g_base64_encode);
};

#undef KELVORA_GLIB_FUNCTION

inline const GLib& glib() {
    static const GLib api;
    return api;
}

}  // namespace kelvora::platform
