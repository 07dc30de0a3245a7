// Notifies a user interface of objects that appear and change.
#pragma once

#include <cstdint>
#include <functional>
#include <unordered_set>
#include <vector>

namespace orv::framework {

class CScriptable;

/// Objects registered here are reported to the listeners when one of their properties or relations changes.
class CNotificationService {
  public:
    enum class Change { Registered, Property, Relation, Destroyed };
    using Listener = std::function<void(CScriptable& object, Change change)>;

    static CNotificationService& Instance();

    /// Registering twice is one registration.
    void RegisterCallback(CScriptable* object);
    bool IsRegistered(std::uint32_t handle) const { return handles_.contains(handle); }
    /// Registered, and there is a listener.
    bool IsObserved(std::uint32_t handle) const { return !listeners_.empty() && IsRegistered(handle); }

    int AddListener(Listener listener);
    void RemoveListener(int id);

    /// Called by the object model; cheap for objects that are not registered.
    void Notify(CScriptable& object, Change change);

  private:
    std::unordered_set<std::uint32_t> handles_;
    std::vector<std::pair<int, Listener>> listeners_;
    int next_id_ = 1;
};

}  // namespace orv::framework
