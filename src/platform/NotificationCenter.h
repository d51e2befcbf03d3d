// Named notifications between the engine and whoever watches it. A post runs every observer
// synchronously on the posting thread; observers that touch a window hop to the main queue.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace kelvora::platform {

using UserInfo = std::map<std::string, std::int64_t, std::less<>>;

class NotificationCenter {
public:
    using Observer = std::function<void(const UserInfo&)>;
    using Token = std::uint64_t;

    // The centre the application's windows and engine share.
    static NotificationCenter& defaultCenter();

    Token addObserver(std::string name, Observer observer);
    void removeObserver(Token token);
    void post(const std::string& name, const UserInfo& userInfo);

private:
    struct Entry {
        Token token;
        std::string name;
        std::shared_ptr<Observer> observer;
    };
    using Entries = std::vector<Entry>;
    // Replaced whole on every change, never changed in place: a post holds on to the list it
    // found, so it reads it without the lock and copies nothing.
    std::mutex mutex_;
    std::shared_ptr<const Entries> entries_ = std::make_shared<const Entries>();
    Token nextToken_ = 1;
};

// Removes its observer when it goes out of scope, so a closed window is never called.
class ObserverRegistration {
public:
    ObserverRegistration() = default;
    ObserverRegistration(NotificationCenter& center, std::string name,
                         NotificationCenter::Observer observer)
        : center_(&center), token_(center.addObserver(std::move(name), std::move(observer))) {}
    ~ObserverRegistration() { reset(); }
    ObserverRegistration(ObserverRegistration&& other) noexcept { *this = std::move(other); }
    ObserverRegistration& operator=(ObserverRegistration&& other) noexcept {
        reset();
        center_ = std::exchange(other.center_, nullptr);
        token_ = other.token_;
        return *this;
    }
    void reset() {
        if (center_ != nullptr) center_->removeObserver(token_);
        center_ = nullptr;
    }

private:
    NotificationCenter* center_ = nullptr;
    NotificationCenter::Token token_ = 0;
};

}  // namespace kelvora::platform
