// Multicast settings shared by all group members of a port.
#pragma once

#include <set>

#include "orv/framework/scriptable.h"

namespace orv::igmpmld {

/// Keeps the multicast groups that a port expects to receive.
class CMulticastPortConfig : public framework::CScriptable {
  public:
    static framework::ClassId CLASS_ID();

    /// Adds the groups that the active hosts of the port's devices subscribe to by themselves.
    void GetSubscribedMulticastGroups(std::set<framework::CScriptable*>& groups) const;
    /// Adds the groups that the port expects now.
    void GetExpectedMulticastGroups(std::set<framework::CScriptable*>& groups) const;

    /// Makes the expected groups match a client's subscriptions: groups of `subscribed` that are not in
    /// `expected` become expected and join `clientGroups`; groups of `clientGroups` that are no longer in
    /// `subscribed` leave both. `clientGroups`, the groups the client itself has added, may hold objects that
    /// no longer exist: it is compared, not dereferenced. Groups that others expect stay.
    void DoUpdateExpectedRxPorts(const std::set<framework::CScriptable*>& subscribed,
                                 const std::set<framework::CScriptable*>& expected,
                                 std::set<framework::CScriptable*>& clientGroups);
};

}  // namespace orv::igmpmld
