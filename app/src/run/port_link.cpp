#include "port_link.h"

#include <utility>

#include "orv/framework/handle_registry.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/core_ids.h"
#include "orv/tm/exceptions.h"
#include "orv/tm/message.h"

namespace orv::app {

namespace {

/// Messages about tests are short; results are not decoded.
constexpr std::size_t kMostBytes = 1024;

}  // namespace

PortLink::PortLink(core::CPort& port, const MakePort& make, Calls calls, Tap tap, Gone gone)
    : handle_(port.GetHandle()),
      name_(port.GetName()),
      tap_(std::move(tap)),
      gone_(std::move(gone)),
      anchor_{std::make_shared<PortLink*>(this)} {
    auto [near_end, far_end] = framework::MakeInProcessTransport();
    far_end_ = std::move(far_end);
    const auto post = [self = anchor_.link](std::function<void(PortLink&)> work) {
        framework::CTaskManager::Instance().PostAfter({}, [self, work = std::move(work)] {
            if (*self) work(**self);
        });
    };
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
    framework::CRpcManager::Instance().Connect(port.GetMessenger(), std::move(near_end));
}

PortLink::~PortLink() {
    far_end_->Close();
    port_.reset();
}

void PortLink::OnMessage(std::vector<std::byte> message) {
    if (is_cut_) return;  // sent before the connection was cut
    if (message.size() <= kMostBytes) NoteTest(message);
    const auto* port = dynamic_cast<const core::CPort*>(framework::CHandleRegistry::Instance().Find(handle_));
    if (port && tap_) tap_(*port, message);
    far_end_->Send(std::move(message));
}

void PortLink::NoteTest(const std::vector<std::byte>& bytes) {
    try {
        const tm::Message message = tm::Message::decode(bytes);
        if (message.get_request_name() == "iptvcd_1.EOTNotification") {
            test_ = TestState::Ended;
        } else if (message.get_request_name() == "iptvcd_1.Start") {
            test_ = message.get_msg_type() == tm::TMT_FAULT ? TestState::Refused : TestState::Running;
        }
    } catch (const tm::Tm_exception&) {  // a port may send damaged messages; the receiver will report it
    }
}

void PortLink::Cut(const std::string& reason) {
    if (std::exchange(is_cut_, true)) return;
    gone_(name_, reason);
    far_end_->Close();
    port_.reset();
    auto* port = dynamic_cast<core::CPort*>(framework::CHandleRegistry::Instance().Find(handle_));
    if (!port) return;
    framework::CRpcManager::Instance().Disconnect(port->GetMessenger());
    port->Set(ids::Port::Online, false);
}

}  // namespace orv::app
