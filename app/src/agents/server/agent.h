// An agent: offers ports of its machine, and serves one controller at a time.
#pragma once

#include <memory>
#include <mutex>
#include <string>

#include "agents/protocol/requests.h"
#include "agents/server/served_session.h"
#include "orv/bus/connection.h"

namespace orv::app {

class Agent {
  public:
    using Say = ServedSession::Say;

    /// Listens from now on. `connection` outlives the agent. Throws bus::BusError.
    Agent(bus::Connection& connection, AgentOffer offer, Say say);
    /// Ends its session, and tells the controller so.
    ~Agent();
    Agent(const Agent&) = delete;
    Agent& operator=(const Agent&) = delete;

    /// Whether somebody else already answers under the name. Throws bus::BusError.
    static bool IsNameTaken(bus::Connection& connection, const std::string& name);
    /// Whether requests reach this agent, and its answers come back: the server may not permit it. Throws
    /// bus::BusError.
    bool IsHeard();
    /// Whether another agent has the same name, and this one is to give way: it has no test, and the other
    /// has, or is the first by its instance. Takes half a second. Throws bus::BusError.
    bool MustGiveWay();
    void OnReconnected();
    /// Call a few times a second: ends a session whose controller is gone.
    void LookAfterSession();

  private:
    /// `is_for_us`: others do not hear it.
    void OnRequest(const bus::Message& message, bool is_for_us);
    ControlAnswer AnswerTo(const bus::Message& message, bool is_for_us);
    void Open(const ControlRequest& request, ControlAnswer& answer);
    void EndSession(const std::string& why);
    AgentInfo MakeInfo() const;

    bus::Connection& connection_;
    const AgentOffer offer_;
    const Say say_;
    const std::string instance_ = MakeUniqueName();
    mutable std::mutex mutex_;  ///< of the session; taken before the task lock
    std::unique_ptr<ServedSession> session_;
    std::unique_ptr<bus::Subscription> control_, discovery_;
};

}  // namespace orv::app
