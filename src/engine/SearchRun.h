// One search from start to end: the engine on a background worker, the result handed to the
// shared settings, and the end on the main queue. The progress window and the command line
// both drive a search through this class.
#pragma once

#include <functional>
#include <memory>
#include <optional>

#include "core/SettingsManager.h"
#include "platform/Locations.h"
#include "platform/NotificationCenter.h"
#include "platform/Queues.h"

namespace kelvora {

class SearchRun : public std::enable_shared_from_this<SearchRun> {
public:
    struct Services {
        SettingsManager& settings;
        platform::NotificationCenter& center;
        platform::DispatchQueue& background;
        platform::DispatchQueue& main;
        platform::LocationTable locations = platform::LocationTable::linux();
    };

    // onFinished runs on the main queue when a search ends without a cancel; a canceled
    // search ends with "SearchThreadFinished" instead, posted exactly once.
    static std::shared_ptr<SearchRun> create(Services services, std::function<void()> onFinished);

    // Threads that hash ahead of the comparison (the engine's default unless set).
    void setHashThreads(unsigned threads) { hashThreads_ = threads; }

    // Schedules runSearch on the background queue.
    void startSearch();
    // The whole background body; tests may call it directly on their own thread.
    void runSearch();
    // The end of every run, on the main queue.
    void finishSearch();

private:
    SearchRun(Services services, std::function<void()> onFinished)
        : services_(std::move(services)), onFinished_(std::move(onFinished)) {}

    Services services_;
    std::function<void()> onFinished_;
    std::optional<unsigned> hashThreads_;
    platform::UserInfo lastUserInfo_;
    bool postedFinished_ = false;
    std::size_t groupsAppended_ = 0;
};

}  // namespace kelvora
