#include "agents/server/served_session.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>

#include "agents/server/served_port.h"
#include "orv/bus/session_link.h"
#include "orv/framework/task_manager.h"
#include "orv/tm/message_head.h"

namespace orv::app {

using bus::Lane;
using bus::Nanoseconds;
using bus::SessionLink;
using framework::CTaskManager;
using framework::CtmLock;

namespace {

/// How long a controller has to take what an agent says at its end.
constexpr std::chrono::seconds kLastWords{2};

Nanoseconds GetAgentTime() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

}  // namespace

/// Work that is posted to the task manager keeps it, and does nothing once it has ended.
class ServedSession::Impl : public std::enable_shared_from_this<ServedSession::Impl> {
  public:
    Impl(const AgentOffer& offer, const ControlRequest& open, Say say)
        : offer_(offer), open_(open), say_(std::move(say)) {}

    /// Throws bus::BusError.
    void Begin(bus::Connection& connection) {
        SessionLink::Setup setup;
        setup.side = SessionLink::Side::Agent;
        setup.agent = offer_.name;
        setup.session = open_.session;
        setup.limits.spool = offer_.spool;
        link_.emplace(connection, setup,
                      SessionLink::Events{[self = weak_from_this()](Lane, bus::Parcel parcel, auto take) {
                                              if (const auto session = self.lock())
                                                  session->OnParcel(std::move(parcel), std::move(take));
                                          },
                                          {},
                                          [self = weak_from_this()](const std::string& text) {
                                              if (const auto session = self.lock())
                                                  session->Post([text](Impl& ours) { ours.Break(text); });
                                          }});
    }

    void End() {
        {
            const CtmLock lock;
            is_over_ = true;
            ports_.clear();
        }
        link_.reset();
    }

    void Stop(const std::string& reason) {
        {
            const CtmLock lock;
            ports_.clear();
        }
        HangUp(kNoPort, reason);
        link_->wait_until_taken(Lane::Reports, kLastWords);
    }

    std::string FindEnd() const {
        if (const Nanoseconds since = broken_since_.load(); since > Nanoseconds::zero()) {
            const bool is_told = link_->get_spooled_bytes(Lane::Reports) == 0;
            if (!is_told && GetAgentTime() < since + kLastWords) return {};
            return "its controller does not keep to the protocol";
        }
        if (link_->get_silence() <= open_.lease) return {};
        return fmt::format("its controller has been silent for {} s", open_.lease.count());
    }

    void Describe(ControlAnswer& answer) const {
        const CtmLock lock;
        std::vector<nic::LiveFigures> figures;
        for (const auto& port : ports_) {
            figures.push_back(port ? port->GetFigures() : nic::LiveFigures());
            if (port) answer.latest_start = std::max(answer.latest_start, port->GetLatestStart());
        }
        answer.figures = ToJson(figures);
    }

    const ControlRequest& GetOpen() const { return open_; }
    SessionLink& GetLink() { return *link_; }

  private:
    void OnParcel(bus::Parcel parcel, SessionLink::Take take) {
        auto carried = std::make_shared<bus::Parcel>(std::move(parcel));
        Post([carried, take = std::move(take)](Impl& session) {
            if (session.broken_since_.load() == Nanoseconds::zero()) session.TakeParcel(*carried);
            take();
        });
    }

    void Post(std::function<void(Impl&)> work) {
        CTaskManager::Instance().PostAfter({}, [self = shared_from_this(), work = std::move(work)] {
            if (!self->is_over_) work(*self);
        });
    }

    void TakeParcel(bus::Parcel& parcel) {
        const auto kind = static_cast<ParcelKind>(parcel.kind);
        try {
            if (kind == ParcelKind::Configure) return Configure(GetText(parcel, parcel.data.size()));
            if (parcel.port >= ports_.size())
                throw ProtocolError(fmt::format("a parcel for port {}, which there is not", parcel.port));
            if (kind == ParcelKind::HungUp) {
                EndPort(parcel.port);
                return;
            }
            // It may have ended while the parcel was on its way.
            if (auto& port = ports_[parcel.port]) port->Take(kind, std::move(parcel.data));
        } catch (const std::exception& error) {
            Break(error.what());
        }
    }

    /// The controller, or what it sent, cannot be served. It is told once.
    void Break(const std::string& why) {
        if (broken_since_.load() > Nanoseconds::zero()) return;
        ports_.clear();
        HangUp(kNoPort, fmt::format("agent \"{}\" does not understand: {}", offer_.name, why));
        broken_since_ = GetAgentTime();
    }

    void Configure(const std::string& text) {
        if (!ports_.empty()) throw ProtocolError("a second set-up");
        setup_ = ReadSessionSetup(text);
        if (setup_.ports.size() >= kNoPort) throw ProtocolError("too many ports");
        SessionAnswer answer;
        try {
            for (std::size_t i = 0; i < setup_.ports.size(); ++i) {
                CheckPlace(setup_.ports[i]);
                ports_.push_back(MakeServedPort(setup_, i, MakeOutput(static_cast<std::uint16_t>(i))));
                answer.line_rates.push_back(ports_.back()->GetLineRate());
            }
        } catch (const nic::NicError& error) {
            answer = {fmt::format("agent \"{}\": {}", offer_.name, error.what()), {}};
            ports_.clear();
        }
        link_->send(Lane::Answers, MakeTextParcel(ParcelKind::Configured, kNoPort, ToJson(answer)), true);
    }

    /// Throws NicError, as an interface does that is not there.
    void CheckPlace(const RemotePortSetup& port) const {
        if (port.IsSimulated() ? offer_.is_simulated : std::ranges::count(offer_.interfaces, port.place) > 0)
            return;
        throw nic::NicError(fmt::format("it does not offer {} for port \"{}\"; it has: {}{}", port.place,
                                        port.name, fmt::join(offer_.interfaces, ", "),
                                        !offer_.is_simulated        ? ""
                                        : offer_.interfaces.empty() ? "simulated ports"
                                                                    : ", simulated ports"));
    }

    ServedPort::Output MakeOutput(std::uint16_t port) {
        // Ports end before the session does. What a port says after something was lost is lost, too: there is
        // no gap in what arrives.
        auto is_full = std::make_shared<std::atomic<bool>>(false);
        return {[this, port, is_full](std::vector<std::byte> message) {
                    Send(port, std::move(message), *is_full);
                },
                [this, port](const std::string& reason) {
                    HangUp(port, reason);
                    Post([port](Impl& session) { session.EndPort(port); });
                },
                [this, port](const std::string& what) {
                    link_->send(Lane::Reports, MakeTextParcel(ParcelKind::Complaint, port, what), true);
                },
                [this, port, is_full](std::vector<std::byte> done) {
                    Keep(Lane::Reports, MakeParcel(ParcelKind::StepDone, port, std::move(done)), *is_full);
                }};
    }

    /// Notifications may not be lost, answers have a time limit anyway.
    void Send(std::uint16_t port, std::vector<std::byte> message, std::atomic<bool>& is_full) {
        const auto head = tm::read_message_head(message);
        const Lane lane = head && head->type != tm::TMT_REQUEST ? Lane::Answers : Lane::Reports;
        Keep(lane, MakeParcel(ParcelKind::Message, port, std::move(message)), is_full);
    }

    void Keep(Lane lane, bus::Parcel parcel, std::atomic<bool>& is_full) {
        const std::uint16_t port = parcel.port;
        if (is_full || link_->send(lane, std::move(parcel))) return;
        is_full = true;
        Post([port](Impl& session) {
            if (!session.EndPort(port)) return;
            session.HangUp(
                port,
                fmt::format("the spool of agent \"{}\" is full: {} MiB of reports wait for the controller",
                            session.offer_.name, session.offer_.spool >> 20));
        });
    }

    /// False if it had ended before.
    bool EndPort(std::uint16_t port) { return port < ports_.size() && std::exchange(ports_[port], nullptr); }

    void HangUp(std::uint16_t port, const std::string& reason) {
        say_(fmt::format("{} ended: {}.",
                         port == kNoPort ? "All ports" : fmt::format("Port \"{}\"", setup_.ports[port].name),
                         reason));
        link_->send(Lane::Reports, MakeTextParcel(ParcelKind::HungUp, port, reason), true);
    }

    const AgentOffer offer_;
    const ControlRequest open_;
    const Say say_;
    // Used under the task lock.
    bool is_over_ = false;
    SessionSetup setup_;
    std::vector<std::unique_ptr<ServedPort>> ports_;  ///< null if ended

    std::atomic<Nanoseconds> broken_since_ = Nanoseconds::zero();  ///< of the steady clock; 0: it is not
    std::optional<SessionLink> link_;
};

ServedSession::ServedSession(bus::Connection& connection, const AgentOffer& offer, const ControlRequest& open,
                             Say say)
    : impl_(std::make_shared<Impl>(offer, open, std::move(say))) {
    impl_->Begin(connection);
}
ServedSession::~ServedSession() {
    impl_->End();
}

const std::string& ServedSession::GetName() const {
    return impl_->GetOpen().session;
}
const std::string& ServedSession::GetHolder() const {
    return impl_->GetOpen().holder;
}
std::string ServedSession::FindEnd() const {
    return impl_->FindEnd();
}
void ServedSession::Stop(const std::string& reason) {
    impl_->Stop(reason);
}
void ServedSession::OnReconnected() {
    impl_->GetLink().on_reconnected();
}
void ServedSession::Describe(ControlAnswer& answer) const {
    impl_->Describe(answer);
}

}  // namespace orv::app
