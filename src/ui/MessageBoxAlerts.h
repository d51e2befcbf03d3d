// The alerts as the desktop shows them: a modal warning box over the window the user works in.
#pragma once

#include "results/Alerts.h"

namespace kelvora {

class MessageBoxAlerts final : public Alerts {
public:
    // The buttons keep the written order whatever the desktop's button layout. Return answers
    // a yes-or-no question with "No" and any other alert with its first button. Escape and the
    // window's close button answer a question with its last button, the cautious one, and a
    // three-way question with the middle one, which decides nothing. The text can always be
    // copied, and a report too long for the screen is shown whole in the details.
    std::int64_t runModal(const Alert& alert) override;
};

}  // namespace kelvora
