// A controller's session, at its agent.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "agents/protocol/requests.h"
#include "orv/bus/connection.h"

namespace orv::app {

/// What an agent has for controllers.
struct AgentOffer {
    std::string name;
    std::vector<std::string> interfaces;
    bool is_simulated = false;       ///< any number of simulated ports
    std::size_t spool = 256U << 20;  ///< bytes of reports that may wait for the controller
};

/// Makes the controller's ports and passes on what they and the controller say, as long as it exists; its
/// ports end with it and leave their groups. Not to be used under the task lock, which it takes.
class ServedSession {
  public:
    /// Called on any thread with what a person at the agent wants to know.
    using Say = std::function<void(const std::string& text)>;

    /// Throws bus::BusError.
    ServedSession(bus::Connection& connection, const AgentOffer& offer, const ControlRequest& open, Say say);
    ~ServedSession();
    ServedSession(const ServedSession&) = delete;
    ServedSession& operator=(const ServedSession&) = delete;

    const std::string& GetName() const;
    const std::string& GetHolder() const;
    /// Why it has to end; empty while it need not: its controller has been silent for too long, or said
    /// something that it must not.
    std::string FindEnd() const;
    /// Ends the ports and tells the controller why, if that still listens.
    void Stop(const std::string& reason);
    void OnReconnected();
    /// What the answer to Keep tells.
    void Describe(ControlAnswer& answer) const;

  private:
    class Impl;
    std::shared_ptr<Impl> impl_;
};

}  // namespace orv::app
