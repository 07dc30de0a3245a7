// The VLANs of a port, numbered.
#pragma once

#include <cstdint>
#include <optional>
#include <unordered_map>

#include "orv/live/address.h"

namespace orv::nic {

/// Hosts whose tags are the same live on one link. Priority and type of a tag make no difference.
class Links {
  public:
    std::uint32_t add(const live::VlanTags& vlan) {
        return numbers_.emplace(key_of(vlan), static_cast<std::uint32_t>(numbers_.size())).first->second;
    }
    std::optional<std::uint32_t> find(const live::VlanTags& vlan) const {
        const auto found = numbers_.find(key_of(vlan));
        if (found == numbers_.end()) return {};
        return found->second;
    }
    std::size_t size() const { return numbers_.size(); }

    static std::uint32_t key_of(const live::VlanTags& vlan) {
        std::uint32_t key = vlan.count;
        for (const live::VlanTag& tag : vlan.Get()) key = key << 12 | tag.GetId();
        return key;
    }

  private:
    std::unordered_map<std::uint32_t, std::uint32_t> numbers_;
};

}  // namespace orv::nic
