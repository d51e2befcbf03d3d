// The notification centre.
#include "platform/NotificationCenter.h"

#include <algorithm>

namespace kelvora::platform {

NotificationCenter& NotificationCenter::defaultCenter() {
    static NotificationCenter center;
    return center;
}

NotificationCenter::Token NotificationCenter::addObserver(std::string name, Observer observer) {
    std::lock_guard lock(mutex_);
    const Token token = nextToken_++;
    auto entries = std::make_shared<Entries>(*entries_);
    entries->push_back({token, std::move(name), std::make_shared<Observer>(std::move(observer))});
    entries_ = std::move(entries);
    return token;
}

void NotificationCenter::removeObserver(Token token) {
    std::lock_guard lock(mutex_);
    auto entries = std::make_shared<Entries>(*entries_);
    std::erase_if(*entries, [token](const Entry& entry) { return entry.token == token; });
    entries_ = std::move(entries);
}

void NotificationCenter::post(const std::string& name, const UserInfo& userInfo) {
    // Observers run outside the lock so that one may add or remove observers; those it
    // removes are still called by this post, as they were found when it began. The search
    // posts hundreds of thousands of times, so a post allocates nothing.
    std::shared_ptr<const Entries> entries;
    {
        std::lock_guard lock(mutex_);
        entries = entries_;
    }
    for (const Entry& entry : *entries) {
        if (entry.name == name) (*entry.observer)(userInfo);
    }
}

}  // namespace kelvora::platform
