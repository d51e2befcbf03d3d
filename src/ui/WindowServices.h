// What every window is handed when it is made: the shared settings, the alerts and panels it
// shows, and the notification centre and queues a search runs on.
#pragma once

#include "core/SettingsManager.h"
#include "platform/Locations.h"
#include "platform/NotificationCenter.h"
#include "platform/Queues.h"
#include "results/Alerts.h"
#include "ui/FilePanels.h"

namespace kelvora {

struct WindowServices {
    SettingsManager& settingsManager;
    Alerts& alerts;
    FilePanels& panels;
    platform::NotificationCenter& center;
    platform::DispatchQueue& background;
    platform::DispatchQueue& main;
    platform::LocationTable locations = platform::LocationTable::linux();
};

}  // namespace kelvora
