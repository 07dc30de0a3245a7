// Which multicast groups the generators of the project send, and from where.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <vector>

#include "addresses.h"
#include "orv/framework/scriptable.h"
#include "orv/il/address_order.h"
#include "orv/il/network.h"

namespace orv::app {

/// Looks at the generators and their stream blocks once, and again after a generator has started or stopped.
class ChannelsOnAir {
  public:
    /// Called when a generator has started or stopped; must call `change`, which updates the result of
    /// IsSent.
    using Announce = std::function<void(const std::function<void()>& change)>;

    /// Generators added to the project later are ignored.
    ChannelsOnAir(const framework::CScriptable& project, Announce announce);
    ~ChannelsOnAir();
    ChannelsOnAir(const ChannelsOnAir&) = delete;
    ChannelsOnAir& operator=(const ChannelsOnAir&) = delete;

    /// True while a source that passes the filter sends the group.
    bool IsSent(const ipAddress_t& group, const il::SourceFilter& filter);

  private:
    /// The hosts of a path that send the same group.
    struct Senders {
        std::size_t path = 0;
        std::size_t first = 0;
        std::size_t step = 1;  ///< from one to the next
    };

    void OnGeneratorState(framework::CScriptable*, framework::PropId);
    void Look();

    const framework::CScriptable& project_;
    const Announce announce_;
    std::vector<std::uint32_t> generators_;  ///< handles
    bool is_known_ = false;
    std::vector<std::vector<ipAddress_t>> hosts_;                            ///< by path
    std::map<ipAddress_t, std::vector<Senders>, il::AddressOrder> senders_;  ///< by group
};

}  // namespace orv::app
