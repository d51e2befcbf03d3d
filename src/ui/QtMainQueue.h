// The main queue of the desktop application: work scheduled on it runs on the Qt event loop.
#pragma once

#include "platform/Queues.h"

namespace kelvora {

class QtMainQueue final : public platform::DispatchQueue {
public:
    // Safe from any thread. Once the application object is gone the task is dropped: there is
    // no window left for it to update.
    void async(platform::Task task) override;
};

}  // namespace kelvora
