// The connection to a port on an agent.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "agents/controller/agent_session.h"
#include "orv/framework/transport.h"

namespace orv::app {

/// Messages go and come as they are. A notification is acknowledged once it has been received, which means
/// that its events have been binned. Starts of tests carry the time at which their port is to begin:
/// `get_start_time` gives it, of our steady clock.
class LaneTransport : public framework::ITransport {
  public:
    using Complain = std::function<void(const std::string&)>;

    LaneTransport(std::shared_ptr<AgentSession> session, std::uint16_t port,
                  std::function<std::chrono::nanoseconds()> get_start_time, Complain complain);
    ~LaneTransport() override;
    LaneTransport(const LaneTransport&) = delete;
    LaneTransport& operator=(const LaneTransport&) = delete;

    bool Send(std::vector<std::byte> message) override;
    void SetCallbacks(Receive receive, Closed closed) override;
    /// The port on the agent ends, too.
    void Close() override;

  private:
    struct End;

    std::shared_ptr<AgentSession> session_;  ///< null once closed; used under the task lock
    const std::uint16_t port_;
    const std::function<std::chrono::nanoseconds()> get_start_time_;
    const std::shared_ptr<End> end_;
};

}  // namespace orv::app
