#include "agents/controller/lane_transport.h"

#include <fmt/format.h>

#include <utility>

#include "orv/framework/task_manager.h"
#include "orv/tm/message_head.h"

namespace orv::app {

using bus::Lane;
using framework::CTaskManager;
using framework::CtmLock;

namespace {

constexpr const char* kStart = "iptvcd_1.Start";

}  // namespace

/// Our end, which arrivals that are under way share. Used under the task lock.
struct LaneTransport::End {
    Receive receive;
    Closed closed;
    Complain complain;
    bool is_open = true;
    std::uint64_t notifications = 0;  ///< received

    /// Callbacks may close the transport: they are copied.
    void Take(Lane lane, bus::Parcel& parcel) {
        if (!is_open) return;
        const Receive call = receive;
        switch (static_cast<ParcelKind>(parcel.kind)) {
            case ParcelKind::Message:
                if (lane == Lane::Reports) ++notifications;
                return call(std::move(parcel.data));
            case ParcelKind::Complaint:
                return complain(GetText(parcel));
            case ParcelKind::HungUp:
                return Hang(GetText(parcel));
            default:
                return Hang(fmt::format("it sent a parcel of kind {}", parcel.kind));
        }
    }
    void Hang(const std::string& reason) {
        const Closed call = closed;
        if (std::exchange(is_open, false)) call(reason);
    }
};

LaneTransport::LaneTransport(std::shared_ptr<AgentSession> session, std::uint16_t port,
                             std::function<std::chrono::nanoseconds()> get_start_time, Complain complain)
    : session_(std::move(session)),
      port_(port),
      get_start_time_(std::move(get_start_time)),
      end_(std::make_shared<End>()) {
    end_->complain = std::move(complain);
}

LaneTransport::~LaneTransport() {
    Close();
}

bool LaneTransport::Send(std::vector<std::byte> message) {
    const CtmLock lock;
    if (!session_) return false;
    const auto head = tm::read_message_head(message);
    if (!head || head->type != tm::TMT_REQUEST || head->request_name != kStart)
        return session_->Send(MakeParcel(ParcelKind::Message, port_, std::move(message)));
    session_->NoteStart();
    return session_->Send(MakeParcel(ParcelKind::MessageAt, port_,
                                     MakeTimedMessage(session_->ToAgentTime(get_start_time_()), message)));
}

void LaneTransport::SetCallbacks(Receive receive, Closed closed) {
    end_->receive = std::move(receive);
    end_->closed = std::move(closed);
    // Arrivals keep our end, not the session: they may come after its time.
    session_->Attach(
        port_, {[end = end_](Lane lane, bus::Parcel parcel, bus::SessionLink::Take take) {
                    auto carried = std::make_shared<bus::Parcel>(std::move(parcel));
                    CTaskManager::Instance().PostAfter({}, [end, lane, carried, take = std::move(take)] {
                        end->Take(lane, *carried);
                        take();
                    });
                },
                [end = end_](const std::string& reason) {
                    CTaskManager::Instance().PostAfter({}, [end, reason] {
                        end->Hang(fmt::format("{}; what it would have reported after notification {} is lost",
                                              reason, end->notifications));
                    });
                }});
}

void LaneTransport::Close() {
    const CtmLock lock;  // waits for an arrival that is being received on another thread
    if (!session_) return;
    session_->Detach(port_);
    // Whoever cut the connection wants no more of the port.
    if (std::exchange(end_->is_open, false))
        session_->Send(MakeTextParcel(ParcelKind::HungUp, port_, "the connection was closed"));
    end_->receive = {};
    end_->closed = {};
    // The transport may outlive the session.
    session_.reset();
}

}  // namespace orv::app
