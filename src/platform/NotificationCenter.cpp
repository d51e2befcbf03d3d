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
    entries_.push_back({token, std::move(name), std::make_shared<Observer>(std::move(observer))});
    return token;
}

void NotificationCenter::removeObserver(Token token) {
    std::lock_guard lock(mutex_);
    std::erase_if(entries_, [token](const Entry& entry) { return entry.token == token; });
}

void NotificationCenter::post(const std::string& name, const UserInfo& userInfo) {
    // Observers run outside the lock so that one may add or remove observers; the search
    // posts hundreds of thousands of times, so the common case copies no function object.
    std::vector<std::shared_ptr<Observer>> matching;
    {
        std::lock_guard lock(mutex_);
        for (const Entry& entry : entries_) {
            if (entry.name == name) matching.push_back(entry.observer);
        }
    }
    for (const auto& observer : matching) (*observer)(userInfo);
}

}  // namespace kelvora::platform
