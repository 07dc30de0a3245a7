// A simulated port on an agent that lives by our virtual clock.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "agents/controller/agent_session.h"
#include "orv/il/software_port.h"
#include "orv/il/streams_on_air.h"
#include "orv/il/timeline.h"

namespace orv::app {

/// Everything that happens to the port is a step that its agent takes while we wait, and what it does is done
/// here: messages, timers and their order are those of a port in this process.
class SteppedPort : public il::ISoftwarePort {
  public:
    using GetStreams = std::function<const il::StreamsOnAir&()>;

    /// `timeline` outlives the port. Neither `send` nor `hang_up` may destroy the port, or call it.
    SteppedPort(std::shared_ptr<AgentSession> session, std::uint16_t port, il::ITimeline& timeline,
                GetStreams get_streams, Send send, HangUp hang_up);
    ~SteppedPort() override;
    SteppedPort(const SteppedPort&) = delete;
    SteppedPort& operator=(const SteppedPort&) = delete;

    void Receive(const std::vector<std::byte>& bytes) override;
    void ChannelsChange(const std::function<void()>& change) override;

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::app
