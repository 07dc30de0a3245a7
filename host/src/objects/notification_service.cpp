#include "orv/framework/notification_service.h"

#include <algorithm>
#include <exception>

#include "log/framework_log.h"
#include "orv/framework/scriptable.h"

namespace orv::framework {

CNotificationService& CNotificationService::Instance() {
    // Never destroyed: objects that end with the process report their end.
    static auto* const service = new CNotificationService;
    return *service;
}

void CNotificationService::RegisterCallback(CScriptable* object) {
    if (!object || !handles_.insert(object->GetHandle()).second) return;
    Notify(*object, Change::Registered);
}

int CNotificationService::AddListener(Listener listener) {
    listeners_.emplace_back(next_id_, std::move(listener));
    return next_id_++;
}

void CNotificationService::RemoveListener(int id) {
    std::erase_if(listeners_, [id](const auto& entry) { return entry.first == id; });
}

void CNotificationService::Notify(CScriptable& object, Change change) {
    if (handles_.empty() || !handles_.contains(object.GetHandle())) return;
    if (change == Change::Destroyed) handles_.erase(object.GetHandle());
    const auto listeners = listeners_;  // a listener may add and remove others
    for (const auto& [id, listener] : listeners) {
        const bool listens = std::any_of(listeners_.begin(), listeners_.end(),
                                         [id = id](const auto& entry) { return entry.first == id; });
        if (!listens) continue;
        // Objects report their end from their destructors, which nothing may leave.
        try {
            listener(object, change);
        } catch (...) {
            LogError([&] {
                return "a listener for object changes failed: " + DescribeException(std::current_exception());
            });
        }
    }
}

}  // namespace orv::framework
