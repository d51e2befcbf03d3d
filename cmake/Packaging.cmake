# The Debian package `kelvora` (make deb). shlibdeps finds the libraries the programs link;
# the ones they open by name at run time are invisible to it and are listed by hand:
# GLib for the defaults file and MD5, and ICU's formatting half for the date texts
# (platform::LazyLibrary), and the Qt platform plug-ins that draw the windows.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kelvora)
set(CPACK_PACKAGE_VENDOR "The Kelvora developers")
set(CPACK_PACKAGE_CONTACT "The Kelvora developers <packages@kelvora.app>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "find duplicate files and remove the copies you do not want")
# CPack puts the summary above it as the synopsis.
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION "Kelvora finds duplicate files in the folders you choose and removes the
copies you do not want to keep, to the trash or for good. Files of equal
size are compared by the MD5 digest of their whole contents.
.
This package holds the desktop application kelvora (Qt 6) and the command
line kelvora-cli, which runs the same search from a terminal with text or
JSON output.")
set(CPACK_PACKAGE_HOMEPAGE_URL "https://kelvora.app/")
set(CPACK_RESOURCE_FILE_LICENSE ${CMAKE_SOURCE_DIR}/LICENSE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
string(REGEX MATCH "^[0-9]+" icu_major "${ICU_VERSION}")
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libglib2.0-0, libicu${icu_major}")
if(KELVORA_BUILD_UI)
  string(APPEND CPACK_DEBIAN_PACKAGE_DEPENDS ", qt6-qpa-plugins")
endif()
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils")
include(CPack)
