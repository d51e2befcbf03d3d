// The six file categories and the extension lists that decide them.
#pragma once

#include <array>
#include <string_view>

namespace kelvora {

enum class FileCategory : int {
    Pictures = 1,
    Music = 2,
    Movies = 3,
    Archives = 4,
    Documents = 5,
    Other = 6,
};

// The lists are kept exactly as they have always been stored, repeats and oddities
// included ("dds " with its blank, "WMF" in capitals that no lower-cased ext can match):
// changing them would move files between categories in existing users' results.
extern const std::array<std::string_view, 53> packageExtension;
extern const std::array<std::string_view, 73> pictureExtension;
extern const std::array<std::string_view, 10> musicExtension;
extern const std::array<std::string_view, 42> movieExtension;
extern const std::array<std::string_view, 40> archiveExtension;
extern const std::array<std::string_view, 227> documentExtension;

// The first list (pictures, music, movies, archives, documents) holding ext wins.
FileCategory categoryForExtension(std::string_view ext);
bool isPackageExtension(std::string_view ext);

}  // namespace kelvora
