#include "port_link.h"

#include <utility>

#include "orv/framework/handle_registry.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/tm/message_head.h"

namespace orv::app {

/// The near end of a remote port's connection: the link sees what arrives.
class PortLink::Tapped : public framework::ITransport {
  public:
    Tapped(PortLink& link, std::unique_ptr<framework::ITransport> transport)
        : link_(link.anchor_.link), post_(link.MakePost()), transport_(std::move(transport)) {}

    bool Send(std::vector<std::byte> message) override { return transport_->Send(std::move(message)); }
    void SetCallbacks(Receive receive, Closed) override {
        transport_->SetCallbacks(
            [self = link_, receive = std::move(receive)](std::vector<std::byte> message) {
                if (*self) (*self)->Look(message);
                receive(std::move(message));
            },
            // The link ends the connection, and cannot do so in this call.
            [post = post_](const std::string& reason) {
                post([reason](PortLink& link) { link.Cut(reason); });
            });
    }
    void Close() override { transport_->Close(); }

  private:
    const std::shared_ptr<PortLink*> link_;
    const std::function<void(std::function<void(PortLink&)>)> post_;
    const std::unique_ptr<framework::ITransport> transport_;
};

PortLink::PortLink(core::CPort& port, Tap tap, Gone gone)
    : handle_(port.GetHandle()),
      messenger_(port.GetMessenger()),
      name_(port.GetName()),
      tap_(std::move(tap)),
      gone_(std::move(gone)),
      anchor_{std::make_shared<PortLink*>(this)} {}

PortLink::PortLink(core::CPort& port, const MakePort& make, Calls calls, Tap tap, Gone gone)
    : PortLink(port, std::move(tap), std::move(gone)) {
    auto [near_end, far_end] = framework::MakeInProcessTransport();
    far_end_ = std::move(far_end);
    const auto post = MakePost();
    const auto send_now = [this](std::vector<std::byte> message) { OnMessage(std::move(message)); };
    const auto send_later = [post](std::vector<std::byte> message) {
        post([message = std::move(message)](PortLink& link) mutable { link.OnMessage(std::move(message)); });
    };
    // The port that closes the connection is still in a call.
    const auto hang_up = [post](const std::string& reason) {
        post([reason](PortLink& link) { link.Cut(reason); });
    };
    port_ = calls == Calls::OnOwnThread ? make(send_later, hang_up) : make(send_now, hang_up);
    far_end_->SetCallbacks([this](const std::vector<std::byte>& message) { port_->Receive(message); },
                           [](const std::string&) {});
    framework::CRpcManager::Instance().Connect(messenger_, std::move(near_end));
}

PortLink::PortLink(core::CPort& port, RemotePort remote, Tap tap, Gone gone)
    : PortLink(port, std::move(tap), std::move(gone)) {
    on_channels_changed_ = std::move(remote.on_channels_changed);
    framework::CRpcManager::Instance().Connect(messenger_,
                                               std::make_unique<Tapped>(*this, std::move(remote.transport)));
}

PortLink::~PortLink() {
    if (far_end_) {
        far_end_->Close();
        port_.reset();
    } else if (!is_cut_) {
        framework::CRpcManager::Instance().Disconnect(messenger_);
    }
}

/// Runs work later, under the task lock, unless the link has ended by then.
std::function<void(std::function<void(PortLink&)>)> PortLink::MakePost() const {
    return [self = anchor_.link](std::function<void(PortLink&)> work) {
        framework::CTaskManager::Instance().PostAfter({}, [self, work = std::move(work)] {
            if (*self) work(**self);
        });
    };
}

void PortLink::ChannelsChange(const std::function<void()>& change) {
    if (port_) return port_->ChannelsChange(change);
    change();
    if (on_channels_changed_ && !is_cut_) on_channels_changed_();
}

void PortLink::Look(const std::vector<std::byte>& message) {
    NoteTest(message);
    const auto* port = dynamic_cast<const core::CPort*>(framework::CHandleRegistry::Instance().Find(handle_));
    if (port && tap_) tap_(*port, message);
}

void PortLink::OnMessage(std::vector<std::byte> message) {
    if (is_cut_) return;  // sent before the connection was cut
    Look(message);
    far_end_->Send(std::move(message));
}

void PortLink::NoteTest(const std::vector<std::byte>& bytes) {
    const auto head = tm::read_message_head(bytes);
    if (!head) return;  // a port may send damaged messages; the receiver will report it
    if (head->request_name == "iptvcd_1.EOTNotification") {
        test_ = TestState::Ended;
    } else if (head->request_name == "iptvcd_1.Start") {
        test_ = head->type == tm::TMT_FAULT ? TestState::Refused : TestState::Running;
    }
}

void PortLink::Cut(const std::string& reason) {
    if (std::exchange(is_cut_, true)) return;
    gone_(name_, reason);
    if (far_end_) far_end_->Close();
    port_.reset();
    framework::CRpcManager::Instance().Disconnect(messenger_);
    auto* port = dynamic_cast<core::CPort*>(framework::CHandleRegistry::Instance().Find(handle_));
    if (!port) return;
    port->Set(ids::Port::Online, false);
}

}  // namespace orv::app
