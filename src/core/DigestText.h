// A file's digest text: the 24-character base64 of its MD5, kept inline. A search holds one
// per file it hashes, so a heap string each would cost more than the text itself.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace kelvora {

class DigestText {
public:
    static constexpr std::size_t kCapacity = 24;

    DigestText() = default;
    // Texts longer than a digest text never occur; they are cut to the capacity.
    DigestText(std::string_view text) { *this = text; }
    DigestText& operator=(std::string_view text) {
        size_ = static_cast<std::uint8_t>(text.size() < kCapacity ? text.size() : kCapacity);
        text.copy(text_.data(), size_);
        return *this;
    }

    bool empty() const { return size_ == 0; }
    std::size_t size() const { return size_; }
    std::string_view view() const { return {text_.data(), size_}; }
    std::string str() const { return std::string(view()); }
    operator std::string_view() const { return view(); }
    bool operator==(const DigestText& other) const { return view() == other.view(); }
    bool operator==(std::string_view other) const { return view() == other; }

private:
    std::array<char, kCapacity> text_{};
    std::uint8_t size_ = 0;
};

}  // namespace kelvora
