// A group's custom keep rule text. Nearly every group keeps the default text for its whole
// life, so the text is shared until a group is given rules of its own.
#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace kelvora {

// The 23-line default: every custom-keep setting at its default value, no extensions.
extern const std::string kDefaultCustomSettings;

class RuleText {
public:
    RuleText() : text_(defaultText()) {}
    RuleText(std::string text) : text_(std::make_shared<const std::string>(std::move(text))) {}
    RuleText& operator=(std::string text) {
        text_ = std::make_shared<const std::string>(std::move(text));
        return *this;
    }

    const std::string& str() const { return *text_; }
    operator const std::string&() const { return *text_; }
    bool operator==(std::string_view other) const { return *text_ == other; }
    bool isSharedDefault() const { return text_ == defaultText(); }

private:
    static const std::shared_ptr<const std::string>& defaultText();
    std::shared_ptr<const std::string> text_;
};

}  // namespace kelvora
