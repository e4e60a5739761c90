#include "app/NotificationCenter.h"

#include <algorithm>

namespace orvane::app {

NotificationCenter& NotificationCenter::shared() {
    static NotificationCenter center;
    return center;
}

NotificationCenter::ObserverID NotificationCenter::observe(std::string_view name,
                                                           std::function<void()> observer) {
    const ObserverID id = next_++;
    entries_.push_back({id, std::string(name), std::move(observer)});
    return id;
}

void NotificationCenter::remove(ObserverID id) {
    std::erase_if(entries_, [id](const Entry& e) { return e.id == id; });
}

void NotificationCenter::post(std::string_view name) {
    // Observers may come and go while they are told: walk the ids taken before the first call.
    std::vector<ObserverID> ids;
    for (const Entry& e : entries_) {
        if (e.name == name) {
            ids.push_back(e.id);
        }
    }
    for (const ObserverID id : ids) {
        const auto found =
            std::find_if(entries_.begin(), entries_.end(), [id](const Entry& e) { return e.id == id; });
        if (found != entries_.end()) {
            const auto observer = found->observer; // a copy: the entry may go while it runs
            observer();
        }
    }
}

} // namespace orvane::app
