// What few objects have: delegates registered with them, and objects they were related to since the last
// apply.
#pragma once

#include <utility>
#include <vector>

#include "orv/framework/scriptable.h"

namespace orv::framework {

struct CScriptable::Extras {
    std::vector<RelationChangeDelegate> relation_delegates;
    std::vector<std::pair<PropId, PropertyChangeDelegate>> property_delegates;
    /// By handle: an object that has been destroyed since is simply no longer found.
    struct RemovedList {
        RelationType type;
        std::vector<std::uint32_t> handles;
    };
    std::vector<RemovedList> removed;

    RemovedList* FindRemoved(RelationType type) {
        for (RemovedList& list : removed) {
            if (list.type == type) return &list;
        }
        return nullptr;
    }
};

}  // namespace orv::framework
