// One search from start to end: the engine on a background worker, the result handed to the
// shared settings, and the end on the main queue. The progress window and the command line
// both drive a search through this class.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "core/SettingsManager.h"
#include "platform/DigestCache.h"
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
    // The digest cache's file, used unless the user default "DigestCache" is "No" (read on
    // the worker); empty (the default): the search reads every file it compares.
    void setDigestCache(std::string path) { digestCachePath_ = std::move(path); }
    // Runs on the main queue after every run, canceled or not, once the worker has let go of
    // everything the next search uses: the settings, the notification centre, the files.
    // Whoever starts searches one after another starts the next one only from here.
    void setOnEnded(std::function<void()> onEnded) { onEnded_ = std::move(onEnded); }

    // Schedules runSearch on the background queue.
    void startSearch();
    // The whole background body; tests may call it directly on their own thread.
    void runSearch();
    // The end of every run, on the main queue.
    void finishSearch();
    // Waits until what the search learned is in the digest cache: it is written while the
    // results are shown, and the worker waits for it. A program that ends right after its
    // results calls it first, or the write is lost.
    void waitForCache();

private:
    SearchRun(Services services, std::function<void()> onFinished)
        : services_(std::move(services)), onFinished_(std::move(onFinished)) {}

    Services services_;
    void runEngine();

    std::function<void()> onFinished_;
    std::function<void()> onEnded_;
    std::string digestCachePath_;
    std::optional<unsigned> hashThreads_;
    platform::UserInfo lastUserInfo_;
    bool postedFinished_ = false;
    std::size_t groupsAppended_ = 0;
    // Made and written on the worker, waited for there and by whoever calls waitForCache.
    std::optional<platform::DigestCache> cache_;
};

}  // namespace kelvora
