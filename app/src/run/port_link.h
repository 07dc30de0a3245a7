// A port of the project and the software port at the far end of its connection.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "orv/core/port.h"
#include "orv/framework/messenger.h"
#include "orv/framework/transport.h"
#include "orv/il/software_port.h"

namespace orv::app {

/// Connects the two as long as it exists. All messages of the port pass through here.
class PortLink {
  public:
    /// Called with every message of the port, before it is sent.
    using Tap = std::function<void(const core::CPort& port, const std::vector<std::byte>& message)>;
    /// Called when the connection has ended, once the port is offline.
    using Gone = std::function<void(const std::string& port, const std::string& reason)>;

    /// Makes a software port that calls these functions.
    using MakePort = std::function<std::unique_ptr<il::ISoftwarePort>(il::ISoftwarePort::Send send,
                                                                      il::ISoftwarePort::HangUp hang_up)>;
    /// Context of the software port's calls: under the task lock, or on the port's own thread, which never
    /// waits for the lock, so that the port's destructor may wait for it.
    enum class Calls { UnderTaskLock, OnOwnThread };

    /// A software port in another process.
    struct RemotePort {
        std::unique_ptr<framework::ITransport> transport;  ///< to the port
        std::function<void()> on_channels_changed;
    };

    /// Exceptions of `make` are passed on; nothing is connected then.
    PortLink(core::CPort& port, const MakePort& make, Calls calls, Tap tap, Gone gone);
    /// What the port's transport uses must outlive the link.
    PortLink(core::CPort& port, RemotePort remote, Tap tap, Gone gone);
    ~PortLink();
    PortLink(const PortLink&) = delete;
    PortLink& operator=(const PortLink&) = delete;

    const std::string& GetName() const { return name_; }
    /// What the port has reported about its test since the last call of ForgetTest.
    enum class TestState { NotStarted, Refused, Running, Ended };
    TestState GetTestState() const { return test_; }
    void ForgetTest() { test_ = TestState::NotStarted; }
    /// See ISoftwarePort.
    void ChannelsChange(const std::function<void()>& change);
    /// Ends the connection and the software port; the port is offline afterwards. Must not be called while
    /// the software port is sending.
    void Cut(const std::string& reason);

  private:
    class Tapped;

    PortLink(core::CPort& port, Tap tap, Gone gone);
    void Look(const std::vector<std::byte>& message);
    void OnMessage(std::vector<std::byte> message);
    void NoteTest(const std::vector<std::byte>& message);
    std::function<void(std::function<void(PortLink&)>)> MakePost() const;

    std::uint32_t handle_;
    framework::Messenger messenger_;
    std::string name_;
    Tap tap_;
    Gone gone_;
    TestState test_ = TestState::NotStarted;
    bool is_cut_ = false;
    std::unique_ptr<framework::ITransport> far_end_;  ///< of a port in this process
    std::unique_ptr<il::ISoftwarePort> port_;         ///< null if remote, and once it has been cut
    std::function<void()> on_channels_changed_;       ///< of a remote port
    /// Directs posted work to this link while it exists. Used under the task lock.
    struct Anchor {
        std::shared_ptr<PortLink*> link;
        ~Anchor() { *link = nullptr; }
    };
    Anchor anchor_;
};

}  // namespace orv::app
