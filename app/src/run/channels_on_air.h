// Which multicast groups the generators of the project send, and from where.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "orv/framework/scriptable.h"
#include "orv/il/streams_on_air.h"

namespace orv::app {

/// Looks at the generators and their stream blocks once, and again after a generator has started or stopped.
class ChannelsOnAir {
  public:
    /// Called when a generator has started or stopped; must call `change`, which updates what is
    /// sent.
    using Announce = std::function<void(const std::function<void()>& change)>;

    /// Generators added to the project later are ignored.
    ChannelsOnAir(const framework::CScriptable& project, Announce announce);
    ~ChannelsOnAir();
    ChannelsOnAir(const ChannelsOnAir&) = delete;
    ChannelsOnAir& operator=(const ChannelsOnAir&) = delete;

    /// What is sent now.
    const il::StreamsOnAir& Get();

  private:
    void OnGeneratorState(framework::CScriptable*, framework::PropId);
    void Look();

    const framework::CScriptable& project_;
    const Announce announce_;
    std::vector<std::uint32_t> generators_;  ///< handles
    bool is_known_ = false;
    il::StreamsOnAir streams_;
};

}  // namespace orv::app
