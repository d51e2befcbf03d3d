// JSON text of our own files and reports: string literals that keep any bytes, and the reader
// of the one-line objects the cleaning journal is made of.
#include "core/JsonText.h"

#include <cstdint>
#include <cstdio>

namespace kelvora {

namespace {

// Length of the valid UTF-8 sequence at text[i], or 0 when the byte there starts none.
std::size_t utf8SequenceLength(std::string_view text, std::size_t i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    std::size_t length = 0;
    std::uint32_t minimum = 0;
    std::uint32_t code = 0;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2, minimum = 0x80, code = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3, minimum = 0x800, code = lead & 0x0F;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4, minimum = 0x10000, code = lead & 0x07;
    } else {
        return 0;
    }
    if (i + length > text.size()) return 0;
    for (std::size_t k = 1; k < length; ++k) {
        if ((byte(i + k) & 0xC0) != 0x80) return 0;
        code = (code << 6) | (byte(i + k) & 0x3F);
    }
    if (code < minimum || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return 0;
    return length;
}

}  // namespace

std::string jsonString(std::string_view text) {
    std::string out = "\"";
    char escape[8];
    for (std::size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c < 0x80) {
            if (c == '"' || c == '\\') {
                out += '\\';
                out += static_cast<char>(c);
            } else if (c < 0x20 || c == 0x7F) {
                std::snprintf(escape, sizeof escape, "\\u%04x", c);
                out += escape;
            } else {
                out += static_cast<char>(c);
            }
            ++i;
            continue;
        }
        const std::size_t length = utf8SequenceLength(text, i);
        if (length == 0) {
            std::snprintf(escape, sizeof escape, "\\u%04x", 0xDC00 + c);
            out += escape;
            ++i;
        } else {
            out.append(text.substr(i, length));
            i += length;
        }
    }
    out += '"';
    return out;
}

namespace {

void appendUtf8(std::string& out, std::uint32_t code) {
    if (code < 0x80) {
        out += static_cast<char>(code);
    } else if (code < 0x800) {
        out += static_cast<char>(0xC0 | (code >> 6));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        out += static_cast<char>(0xE0 | (code >> 12));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (code >> 18));
        out += static_cast<char>(0x80 | ((code >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (code & 0x3F));
    }
}

class Reader {
public:
    explicit Reader(std::string_view text) : text_(text) {}

    void skipBlanks() {
        while (at_ < text_.size() && (text_[at_] == ' ' || text_[at_] == '\t')) ++at_;
    }
    bool take(char c) {
        skipBlanks();
        if (at_ >= text_.size() || text_[at_] != c) return false;
        ++at_;
        return true;
    }
    bool done() {
        skipBlanks();
        return at_ == text_.size();
    }

    std::optional<std::string> string() {
        if (!take('"')) return std::nullopt;
        std::string out;
        while (at_ < text_.size()) {
            const char c = text_[at_++];
            if (c == '"') return out;
            if (c != '\\') {
                out += c;
                continue;
            }
            if (at_ >= text_.size()) return std::nullopt;
            const char escaped = text_[at_++];
            switch (escaped) {
                case '"':
                case '\\':
                case '/':
                    out += escaped;
                    break;
                case 'n':
                    out += '\n';
                    break;
                case 't':
                    out += '\t';
                    break;
                case 'r':
                    out += '\r';
                    break;
                case 'b':
                    out += '\b';
                    break;
                case 'f':
                    out += '\f';
                    break;
                case 'u':
                    if (!unicode(out)) return std::nullopt;
                    break;
                default:
                    return std::nullopt;
            }
        }
        return std::nullopt;
    }

    // A number, true, false or null, as written.
    std::optional<std::string> scalar() {
        skipBlanks();
        const std::size_t start = at_;
        while (at_ < text_.size() && text_[at_] != ',' && text_[at_] != '}' && text_[at_] != ' ')
            ++at_;
        if (at_ == start) return std::nullopt;
        return std::string(text_.substr(start, at_ - start));
    }

    bool peek(char c) {
        skipBlanks();
        return at_ < text_.size() && text_[at_] == c;
    }

private:
    std::optional<std::uint32_t> hex4() {
        if (at_ + 4 > text_.size()) return std::nullopt;
        std::uint32_t value = 0;
        for (int k = 0; k < 4; ++k) {
            const char c = text_[at_++];
            value <<= 4;
            if (c >= '0' && c <= '9')
                value |= static_cast<std::uint32_t>(c - '0');
            else if (c >= 'a' && c <= 'f')
                value |= static_cast<std::uint32_t>(c - 'a' + 10);
            else if (c >= 'A' && c <= 'F')
                value |= static_cast<std::uint32_t>(c - 'A' + 10);
            else
                return std::nullopt;
        }
        return value;
    }

    // \uDC80 to \uDCFF stand for one byte each; a pair of surrogates for one character.
    bool unicode(std::string& out) {
        const auto code = hex4();
        if (!code) return false;
        if (*code >= 0xDC80 && *code <= 0xDCFF) {
            out += static_cast<char>(*code - 0xDC00);
            return true;
        }
        if (*code >= 0xD800 && *code <= 0xDBFF) {
            if (at_ + 2 > text_.size() || text_[at_] != '\\' || text_[at_ + 1] != 'u') return false;
            at_ += 2;
            const auto low = hex4();
            if (!low || *low < 0xDC00 || *low > 0xDFFF) return false;
            appendUtf8(out, 0x10000 + ((*code - 0xD800) << 10) + (*low - 0xDC00));
            return true;
        }
        if (*code >= 0xDC00 && *code <= 0xDFFF) return false;
        appendUtf8(out, *code);
        return true;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace

std::optional<JsonMembers> parseJsonObject(std::string_view line) {
    Reader reader(line);
    JsonMembers members;
    if (!reader.take('{')) return std::nullopt;
    if (reader.take('}')) return reader.done() ? std::optional(members) : std::nullopt;
    do {
        auto key = reader.string();
        if (!key || !reader.take(':')) return std::nullopt;
        auto value = reader.peek('"') ? reader.string() : reader.scalar();
        if (!value) return std::nullopt;
        members[std::move(*key)] = std::move(*value);
    } while (reader.take(','));
    if (!reader.take('}') || !reader.done()) return std::nullopt;
    return members;
}

}  // namespace kelvora
