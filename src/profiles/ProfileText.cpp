// Writer and reader of the profile text.
#include "profiles/ProfileText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

namespace kelvora {

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::size_t kLinesAfterExtensions = 9;

// A UTF-8 lead byte: the length of its sequence (0 for a byte that cannot lead), the code
// point bits it carries and the smallest code point that needs that length.
struct Lead {
    std::size_t length;
    char32_t bits;
    char32_t smallest;
};

Lead leadOf(unsigned char byte) {
    if (byte < 0x80) return {1, byte, 0};
    if ((byte & 0xE0) == 0xC0) return {2, byte & 0x1Fu, 0x80};
    if ((byte & 0xF0) == 0xE0) return {3, byte & 0x0Fu, 0x800};
    if ((byte & 0xF8) == 0xF0) return {4, byte & 0x07u, 0x10000};
    return {0, 0, 0};
}

// Strict UTF-8: no overlong forms, no surrogates, nothing past U+10FFFF, no cut-off sequence.
bool isUtf8(std::string_view text) {
    for (std::size_t i = 0; i < text.size();) {
        const Lead lead = leadOf(static_cast<unsigned char>(text[i]));
        if (lead.length == 0 || text.size() - i < lead.length) return false;
        char32_t point = lead.bits;
        for (std::size_t k = 1; k < lead.length; ++k) {
            const auto next = static_cast<unsigned char>(text[i + k]);
            if ((next & 0xC0) != 0x80) return false;
            point = (point << 6) | (next & 0x3F);
        }
        if (point < lead.smallest || point > 0x10FFFF || (point >= 0xD800 && point <= 0xDFFF)) {
            return false;
        }
        i += lead.length;
    }
    return true;
}

// Length of the line break that starts at `at` in UTF-8 text, 0 when none does. Every break
// character ends a line by itself, so CR LF is two breaks with an empty line between.
std::size_t breakLength(std::string_view text, std::size_t at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte >= 0x0A && byte <= 0x0D) return 1;  // LF, VT, FF, CR
    const std::string_view rest = text.substr(at);
    if (rest.starts_with("\xC2\x85")) return 2;                                          // NEL
    if (rest.starts_with("\xE2\x80\xA8") || rest.starts_with("\xE2\x80\xA9")) return 3;  // LS, PS
    return 0;
}

// The lines of a text one after another. A break at the very end leaves no empty last line.
class Lines {
public:
    explicit Lines(std::string_view text) : text_(text) {}

    std::optional<std::string_view> next() {
        if (position_ >= text_.size()) return std::nullopt;
        ++number_;
        const std::size_t start = position_;
        for (; position_ < text_.size(); ++position_) {
            if (const std::size_t length = breakLength(text_, position_)) {
                const std::string_view line = text_.substr(start, position_ - start);
                position_ += length;
                return line;
            }
        }
        return text_.substr(start);
    }

    // How many lines are still to come, without reading them out.
    std::uint64_t remaining() const {
        Lines copy = *this;
        std::uint64_t count = 0;
        while (copy.next()) ++count;
        return count;
    }

    // The 1-based number of the line last returned.
    std::uint64_t number() const { return number_; }

private:
    std::string_view text_;
    std::size_t position_ = 0;
    std::uint64_t number_ = 0;
};

// Decimal digits only; fits 64 bits unsigned.
std::optional<std::uint64_t> parseDigits(std::string_view text) {
    std::uint64_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end) return std::nullopt;
    return value;
}

std::optional<std::uint64_t> parseSize(std::string_view text) {
    if (text.starts_with('+')) text.remove_prefix(1);
    return parseDigits(text);
}

// An optional sign, then decimal digits; fits 64 bits signed.
std::optional<std::int64_t> parseInteger(std::string_view text) {
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+')) text.remove_prefix(1);
    const std::optional<std::uint64_t> magnitude = parseDigits(text);
    constexpr auto largest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());
    if (!magnitude || *magnitude > largest + (negative ? 1 : 0)) return std::nullopt;
    return static_cast<std::int64_t>(negative ? 0 - *magnitude : *magnitude);
}

std::optional<std::int64_t> parseCount(std::string_view text) {
    const std::optional<std::int64_t> count = parseInteger(text);
    if (!count || *count < 0) return std::nullopt;
    return count;
}

// A finite decimal number in the C locale's notation, whatever the process locale is.
std::optional<float> parseSlider(std::string_view text) {
    // One optional sign: from_chars itself takes only '-'.
    if (text.starts_with('+')) {
        text.remove_prefix(1);
        if (text.starts_with('-')) return std::nullopt;
    }
    float value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || !std::isfinite(value)) return std::nullopt;
    return value;
}

// The next line parsed into `into`; false with the reason in `error` when it is missing or
// does not parse.
template <typename T, typename Parse>
bool readField(Lines& lines, Parse parse, T& into, std::string_view what, std::string& error) {
    const std::optional<std::string_view> line = lines.next();
    const auto parsed = line ? parse(*line) : std::nullopt;
    if (!parsed) {
        error = "line " + std::to_string(lines.number() + (line ? 0 : 1)) + " is not " +
                std::string(what);
        return false;
    }
    into = *parsed;
    return true;
}

bool readValues(Lines& lines, Profile& profile, std::string& error) {
    return readField(lines, parseSize, profile.minimumFileSize, "a size in bytes", error) &&
           readField(lines, parseSize, profile.maximumFileSize, "a size in bytes", error) &&
           readField(lines, parseSlider, profile.sliderMinimumFileSize, "a slider position",
                     error) &&
           readField(lines, parseSlider, profile.sliderMaximumFileSize, "a slider position",
                     error) &&
           readField(lines, parseInteger, profile.radioScanAllFileTypes, "a state", error) &&
           readField(lines, parseInteger, profile.radioCustomFileTypes, "a state", error) &&
           readField(lines, parseInteger, profile.radioMoveDuplicateFilesToTrash, "a state",
                     error) &&
           readField(lines, parseInteger, profile.radioRemoveDuplicateFilesPermanently, "a state",
                     error) &&
           readField(lines, parseInteger, profile.checkIgnoreBundles, "a state", error);
}

}  // namespace

std::string sliderText(float value) {
    std::array<char, 64> buffer{};
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
    std::string text(buffer.data(), error == std::errc() ? end : buffer.data());
    if (std::isfinite(value) && text.find_first_of(".e") == std::string::npos) text += ".0";
    return text;
}

std::string profileText(const Profile& profile) {
    std::string text;
    const auto line = [&text](std::string_view value) {
        text += value;
        text += '\n';
    };
    line(std::to_string(profile.listFileExtensions.size()));
    for (const std::string& extension : profile.listFileExtensions) line(extension);
    line(std::to_string(profile.minimumFileSize));
    line(std::to_string(profile.maximumFileSize));
    line(sliderText(profile.sliderMinimumFileSize));
    line(sliderText(profile.sliderMaximumFileSize));
    for (const std::int64_t state :
         {profile.radioScanAllFileTypes, profile.radioCustomFileTypes,
          profile.radioMoveDuplicateFilesToTrash, profile.radioRemoveDuplicateFilesPermanently,
          profile.checkIgnoreBundles}) {
        line(std::to_string(state));
    }
    return text;
}

std::optional<std::string> unwritableReason(const Profile& profile) {
    if (!std::isfinite(profile.sliderMinimumFileSize) ||
        !std::isfinite(profile.sliderMaximumFileSize)) {
        return "a slider position is not a number";
    }
    for (const std::string& extension : profile.listFileExtensions) {
        if (!isUtf8(extension)) return "the extension \"" + extension + "\" is not UTF-8 text";
        for (std::size_t i = 0; i < extension.size(); ++i) {
            if (breakLength(extension, i) != 0) {
                return "the extension \"" + extension + "\" holds a line break";
            }
        }
    }
    return std::nullopt;
}

platform::Result<Profile> parseProfile(std::string_view bytes) {
    using Outcome = platform::Result<Profile>;
    if (!isUtf8(bytes)) return Outcome::failure("the file is not UTF-8 text");
    // An editor's encoding mark is not part of the first line.
    if (bytes.starts_with(kByteOrderMark)) bytes.remove_prefix(kByteOrderMark.size());

    Lines lines(bytes);
    std::string error;
    std::int64_t count = 0;
    if (!readField(lines, parseCount, count, "a count of extensions", error)) {
        return Outcome::failure(error);
    }
    // Checked before anything is stored, so a wild count costs nothing.
    const std::uint64_t remaining = lines.remaining();
    const auto extensions = static_cast<std::uint64_t>(count);
    if (extensions > remaining || remaining - extensions < kLinesAfterExtensions) {
        return Outcome::failure("the file has " + std::to_string(remaining + 1) +
                                " lines, its count of extensions needs " +
                                std::to_string(extensions + kLinesAfterExtensions + 1));
    }

    Profile profile;
    profile.listFileExtensions.reserve(extensions);
    for (std::uint64_t i = 0; i < extensions; ++i) {
        profile.listFileExtensions.emplace_back(*lines.next());
    }
    if (!readValues(lines, profile, error)) return Outcome::failure(error);
    return profile;
}

}  // namespace kelvora
