// The modal alerts of the results window behind one interface: the Qt window shows them, tests
// and the command line answer them from a script.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <utility>
#include <vector>

namespace kelvora {

// An answer is the position of the pressed button.
inline constexpr std::int64_t kFirstButton = 1000;
inline constexpr std::int64_t kSecondButton = 1001;
inline constexpr std::int64_t kThirdButton = 1002;

// Every alert has warning style and an empty message text; the sentence is its informative
// text and the buttons keep their order.
struct Alert {
    std::string informativeText;
    std::vector<std::string> buttons;
    bool operator==(const Alert&) const = default;
};

class Alerts {
public:
    virtual ~Alerts() = default;
    // Shows the alert modally; returns the pressed button's answer.
    virtual std::int64_t runModal(const Alert& alert) = 0;
};

// Answers questions (alerts with two or more buttons) from a script in order; notices are
// acknowledged without using an answer. Once the script runs out, every question gets its last
// button, which is always the cautious one ("No", "No, Thanks").
class ScriptedAlerts final : public Alerts {
public:
    explicit ScriptedAlerts(std::deque<std::int64_t> answers = {}) : answers_(std::move(answers)) {}

    void answer(std::int64_t button) { answers_.push_back(button); }

    std::int64_t runModal(const Alert& alert) override {
        shown.push_back(alert);
        if (alert.buttons.size() < 2) return kFirstButton;
        if (answers_.empty())
            return kFirstButton + static_cast<std::int64_t>(alert.buttons.size()) - 1;
        const std::int64_t button = answers_.front();
        answers_.pop_front();
        return button;
    }

    std::vector<Alert> shown;

private:
    std::deque<std::int64_t> answers_;
};

}  // namespace kelvora
