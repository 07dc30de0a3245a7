#include "agents/controller/agent_session.h"

#include <fmt/format.h>
#include <unistd.h>

#include <atomic>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "orv/common/exceptions.h"
#include "program_version.h"

namespace orv::app {

using bus::Lane;
using bus::Nanoseconds;

namespace {

constexpr std::chrono::seconds kPatience{5};
/// Rings of an interface take their time.
constexpr std::chrono::seconds kPortsPatience{30};
constexpr std::chrono::milliseconds kKeepInterval{500};
/// An agent that has ended the session says why on its way; the words may come after the answer.
constexpr int kMostUnknown = 4;
constexpr int kFirstSamples = 8;
/// An agent that has lost the server, as we may have, comes back within that time.
constexpr std::chrono::seconds kComeBack{3};
constexpr std::chrono::milliseconds kAskAgain{100};
constexpr std::chrono::seconds kInterruptedPatience{2};

Nanoseconds GetSteadyTime() {
    return std::chrono::steady_clock::now().time_since_epoch();
}

std::string DescribeUs() {
    char host[256] = "?";
    ::gethostname(host, sizeof host - 1);
    const char* user = std::getenv("USER");
    return fmt::format("{}@{}, process {}", user ? user : fmt::format("user {}", ::getuid()), host,
                       ::getpid());
}

/// Sessions of the process.
struct Registry {
    std::mutex mutex;
    std::vector<std::function<void()>*> closers;
};
Registry& GetSessions() {
    static Registry& registry = *new Registry;  // the thread that ends the process may still use it
    return registry;
}

}  // namespace

class AgentSession::Impl {
    enum class Agent { IsThere, IsGone };

  public:
    Impl(bus::Connection& connection, Setup setup, std::function<void(const std::string&)> warn)
        : connection_(connection),
          setup_(std::move(setup)),
          warn_(std::move(warn)),
          session_(MakeUniqueName()) {
        {
            const std::lock_guard lock(GetSessions().mutex);
            GetSessions().closers.push_back(&close_);
        }
        figures_.resize(setup_.session.ports.size());
        try {
            const ControlAnswer opened = AskFirst(ControlRequest::Operation::Open);
            version_ = opened.program;
            has_answered_ = true;
            bus::SessionLink::Setup link;
            link.side = bus::SessionLink::Side::Controller;
            link.agent = setup_.agent;
            link.session = session_;
            link_.emplace(connection_, link,
                          bus::SessionLink::Events{
                              [this](Lane lane, bus::Parcel parcel, auto take) {
                                  OnParcel(lane, std::move(parcel), std::move(take));
                              },
                              [this](const std::string& text) { Warn(text); },
                              [this](const std::string& text) {
                                  End(fmt::format("agent \"{}\": {}", setup_.agent, text), Agent::IsThere);
                              }});
            for (int i = 0; i < kFirstSamples; ++i) AskFirst(ControlRequest::Operation::Time);
            MakePorts();
        } catch (...) {
            Unregister();
            Close();
            link_.reset();
            throw;
        }
        keeper_ = std::thread([this] { Keep(); });
    }

    ~Impl() {
        Unregister();
        {
            const std::lock_guard lock(mutex_);
            is_over_ = true;
        }
        changed_.notify_all();
        if (keeper_.joinable()) keeper_.join();
        Close();
    }

    const std::string& GetAgent() const { return setup_.agent; }
    double GetLineRate(std::uint16_t port) const { return line_rates_.at(port); }

    void Attach(std::uint16_t port, PortEvents events) {
        const std::lock_guard lock(events_mutex_);
        if (const auto why = GetEnd()) events.ended(*why);
        ports_[port] = std::move(events);
    }

    void Detach(std::uint16_t port) {
        const std::lock_guard lock(events_mutex_);
        ports_.erase(port);
    }

    bool Send(bus::Parcel parcel) { return !GetEnd() && link_->send(Lane::Down, std::move(parcel)); }

    ClockOffset::Estimate GetOffset() const {
        const std::lock_guard lock(mutex_);
        return offset_.Get();
    }

    std::vector<nic::LiveFigures> GetFigures() {
        if (!GetEnd()) AskQuietly(ControlRequest::Operation::Keep, std::chrono::seconds(2));
        const std::lock_guard lock(mutex_);
        return figures_;
    }

    AgentReport GetReport() const {
        const std::lock_guard lock(mutex_);
        const ClockOffset::Estimate offset = at_start_.value_or(offset_.Get());
        return {setup_.agent, version_, offset.offset, offset.GetUncertainty(), latest_start_};
    }

    void NoteStart() {
        const std::lock_guard lock(mutex_);
        at_start_ = offset_.Get();
    }

    void OnReconnected() { link_->on_reconnected(); }
    std::chrono::seconds GetLease() const { return setup_.lease; }
    bool IsInterrupted() const { return setup_.is_interrupted && setup_.is_interrupted(); }
    void Abandon(const std::string& why) {
        End(fmt::format("agent \"{}\" {}", setup_.agent, why), Agent::IsThere);
    }

  private:
    void Unregister() {
        const std::lock_guard lock(GetSessions().mutex);
        std::erase(GetSessions().closers, &close_);
    }

    std::string DescribeForgetting() const {
        return fmt::format("agent \"{}\" has been started again, or has given the test up", setup_.agent);
    }

    /// Throws COrvRunTimeError unless the agent does it.
    ControlAnswer AskFirst(ControlRequest::Operation operation) {
        const std::string who = fmt::format("agent \"{}\"", setup_.agent);
        try {
            auto answer = Ask(operation, kPatience);
            for (const Nanoseconds until = GetSteadyTime() + kComeBack; !answer && GetSteadyTime() < until;) {
                std::this_thread::sleep_for(kAskAgain);
                answer = Ask(operation, kPatience);
            }
            if (!answer) throw common::COrvRunTimeError(fmt::format("{} is not there: nobody answers", who));
            if (const auto misfit = FindVersionProblem(who, answer->protocol, answer->program);
                !misfit.empty())
                throw common::COrvRunTimeError(misfit);
            if (!answer->error.empty()) throw common::COrvRunTimeError(answer->error);
            if (operation != ControlRequest::Operation::Open && !answer->is_known)
                throw common::COrvRunTimeError(DescribeForgetting());
            return *answer;
        } catch (const bus::BusError& error) {
            throw common::COrvRunTimeError(fmt::format("{}: {}", who, error.what()));
        } catch (const ProtocolError& error) {
            throw common::COrvRunTimeError(fmt::format("{}: {}", who, error.what()));
        }
    }

    std::optional<ControlAnswer> AskQuietly(ControlRequest::Operation operation,
                                            std::chrono::milliseconds patience) {
        try {
            return Ask(operation, patience);
        } catch (const std::exception&) {  // the server is away; silence is measured elsewhere
            return {};
        }
    }

    /// Nothing if nobody answers. Any thread.
    std::optional<ControlAnswer> Ask(ControlRequest::Operation operation,
                                     std::chrono::milliseconds patience) {
        ControlRequest request;
        request.operation = operation;
        request.program = kProgramVersion;
        request.session = session_;
        request.lease = setup_.lease;
        if (operation == ControlRequest::Operation::Open) {
            request.holder = DescribeUs();
        } else {
            const std::lock_guard lock(mutex_);
            request.instance = instance_;
        }
        const std::string text = ToJson(request);
        const Nanoseconds asked = GetSteadyTime();
        const bus::Answer answer =
            connection_.request(bus::control_subject(setup_.agent), std::as_bytes(std::span(text)), patience,
                                bus::answers_of_agent(setup_.agent),
                                [this](std::span<const std::byte> bytes) { return IsOfOurAgent(bytes); });
        const Nanoseconds answered = GetSteadyTime();
        if (answer.status != bus::Answer::Status::Answered) return {};
        const ControlAnswer read =
            ReadControlAnswer({reinterpret_cast<const char*>(answer.data.data()), answer.data.size()});
        if (operation != ControlRequest::Operation::Open) Note(read, asked, answered);
        CheckInstance(read);
        return read;
    }

    /// Not of another agent with the same name; nor of ours, if it was started again.
    bool IsOfOurAgent(std::span<const std::byte> bytes) const {
        try {
            const ControlAnswer answer =
                ReadControlAnswer({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
            const std::lock_guard lock(mutex_);
            return instance_.empty() || answer.instance == instance_;
        } catch (const ProtocolError&) {
            return true;  // it is told of
        }
    }

    /// An agent that was started again does not know the session.
    void CheckInstance(const ControlAnswer& answer) {
        if (!answer.is_known) return;
        {
            const std::lock_guard lock(mutex_);
            if (instance_.empty()) instance_ = answer.instance;
            if (instance_ == answer.instance) return;
        }
        const std::string text = fmt::format("there are two agents with the name \"{}\"", setup_.agent);
        End(text, Agent::IsThere);
        throw ProtocolError(text);
    }

    void Note(const ControlAnswer& answer, Nanoseconds asked, Nanoseconds answered) {
        const std::lock_guard lock(mutex_);
        offset_.Add(asked, answered, answer.steady_time);
        latest_start_ = std::max(latest_start_, answer.latest_start);
        if (answer.figures.empty()) return;
        auto figures = ReadFigures(answer.figures);
        if (figures.size() == setup_.session.ports.size()) figures_ = std::move(figures);
    }

    void MakePorts() {
        link_->send(Lane::Down, MakeTextParcel(ParcelKind::Configure, kNoPort, ToJson(setup_.session)), true);
        const Nanoseconds until = GetSteadyTime() + kPortsPatience;
        std::unique_lock lock(mutex_);
        for (int unknown = 0; !changed_.wait_for(lock, kKeepInterval, [this] { return answer_ || end_; });) {
            lock.unlock();
            const auto answer = AskQuietly(ControlRequest::Operation::Keep, std::chrono::seconds(1));
            unknown = answer && !answer->is_known ? unknown + 1 : 0;
            if (unknown == kMostUnknown) throw common::COrvRunTimeError(DescribeForgetting());
            if (GetSteadyTime() > until)
                throw common::COrvRunTimeError(fmt::format("agent \"{}\" has not made its ports within {} s",
                                                           setup_.agent, kPortsPatience.count()));
            lock.lock();
        }
        if (end_) throw common::COrvRunTimeError(*end_);
        if (!answer_->error.empty()) throw common::COrvRunTimeError(answer_->error);
        line_rates_ = answer_->line_rates;
        if (line_rates_.size() != setup_.session.ports.size())
            throw common::COrvRunTimeError(fmt::format("agent \"{}\" has made other ports", setup_.agent));
    }

    void OnParcel(Lane lane, bus::Parcel parcel, bus::SessionLink::Take take) {
        if (parcel.port == kNoPort) {
            if (static_cast<ParcelKind>(parcel.kind) == ParcelKind::Configured) OnConfigured(parcel);
            // What ends the session is said last.
            if (static_cast<ParcelKind>(parcel.kind) == ParcelKind::HungUp) End(GetText(parcel));
            return take();
        }
        const std::lock_guard lock(events_mutex_);
        const auto port = ports_.find(parcel.port);
        if (port == ports_.end()) return take();
        port->second.receive(lane, std::move(parcel), std::move(take));
    }

    void OnConfigured(const bus::Parcel& parcel) {
        SessionAnswer answer;
        try {
            answer = ReadSessionAnswer(GetText(parcel, parcel.data.size()));
        } catch (const ProtocolError& error) {
            answer.error = fmt::format("agent \"{}\": {}", setup_.agent, error.what());
        }
        {
            const std::lock_guard lock(mutex_);
            answer_ = std::move(answer);
        }
        changed_.notify_all();
    }

    void Keep() {
        Nanoseconds heard = GetSteadyTime();
        int unknown = 0;
        for (;;) {
            {
                std::unique_lock lock(mutex_);
                if (changed_.wait_for(lock, kKeepInterval, [this] { return is_over_ || end_.has_value(); }))
                    return;
            }
            if (const auto answer = AskQuietly(ControlRequest::Operation::Keep, std::chrono::seconds(1))) {
                heard = GetSteadyTime();
                unknown = answer->is_known ? 0 : unknown + 1;
                if (unknown == kMostUnknown) {
                    return End(DescribeForgetting());
                }
            }
            const Nanoseconds silence = std::min(GetSteadyTime() - heard, link_->get_silence());
            if (silence > kInterruptedPatience && IsInterrupted())
                return Abandon("has been silent since the test was interrupted");
            if (silence > setup_.lease)
                return End(
                    fmt::format("agent \"{}\" has been silent for {} s", setup_.agent, setup_.lease.count()));
        }
    }

    std::optional<std::string> GetEnd() const {
        const std::lock_guard lock(mutex_);
        return end_;
    }

    void End(const std::string& reason, Agent agent = Agent::IsGone) {
        {
            const std::lock_guard lock(mutex_);
            if (end_) return;
            end_ = reason;
        }
        if (agent == Agent::IsGone) is_open_ = false;  // nobody is there to be told
        changed_.notify_all();
        const std::lock_guard lock(events_mutex_);
        for (const auto& [number, events] : ports_) events.ended(reason);
    }

    /// An agent that does not hear of it waits for the lease, and nobody else can use it. One that has not
    /// answered yet is told once: it may be about to begin the session.
    void Close() {
        if (!is_open_.exchange(false)) return;
        if (!has_answered_) {
            AskQuietly(ControlRequest::Operation::Close, kAskAgain);
            return;
        }
        if (IsInterrupted()) {  // nobody wants to wait
            AskQuietly(ControlRequest::Operation::Close, std::chrono::milliseconds(500));
            return;
        }
        const Nanoseconds until = GetSteadyTime() + kComeBack;
        while (!AskQuietly(ControlRequest::Operation::Close, std::chrono::seconds(2)) &&
               GetSteadyTime() < until)
            std::this_thread::sleep_for(kAskAgain);
    }

    void Warn(const std::string& text) { warn_(fmt::format("Agent \"{}\": {}", setup_.agent, text)); }

    bus::Connection& connection_;
    const Setup setup_;
    const std::function<void(const std::string&)> warn_;
    const std::string session_;
    std::string version_;
    std::vector<double> line_rates_;
    std::atomic<bool> is_open_ = true;  ///< it has been asked for, and nobody has closed it
    std::atomic<bool> has_answered_ = false;

    mutable std::mutex mutex_;  ///< of the members up to the next empty line
    std::condition_variable changed_;
    bool is_over_ = false;
    std::optional<std::string> end_;  ///< why the session has ended
    std::string instance_;            ///< of the agent that has the session
    std::optional<SessionAnswer> answer_;
    ClockOffset offset_;
    std::optional<ClockOffset::Estimate> at_start_;
    Nanoseconds latest_start_{};
    std::vector<nic::LiveFigures> figures_;

    std::mutex events_mutex_;  ///< taken before the other
    std::map<std::uint16_t, PortEvents> ports_;
    std::optional<bus::SessionLink> link_;
    std::function<void()> close_ = [this] { Close(); };
    std::thread keeper_;  ///< last member, because it uses all others
};

AgentSession::AgentSession(bus::Connection& connection, Setup setup,
                           std::function<void(const std::string&)> warn)
    : impl_(std::make_unique<Impl>(connection, std::move(setup), std::move(warn))) {}
AgentSession::~AgentSession() = default;

const std::string& AgentSession::GetAgent() const {
    return impl_->GetAgent();
}
double AgentSession::GetLineRate(std::uint16_t port) const {
    return impl_->GetLineRate(port);
}
void AgentSession::Attach(std::uint16_t port, PortEvents events) {
    impl_->Attach(port, std::move(events));
}
void AgentSession::Detach(std::uint16_t port) {
    impl_->Detach(port);
}
bool AgentSession::Send(bus::Parcel parcel) {
    return impl_->Send(std::move(parcel));
}
bool AgentSession::IsInterrupted() const {
    return impl_->IsInterrupted();
}
void AgentSession::Abandon(const std::string& why) {
    impl_->Abandon(why);
}
std::chrono::seconds AgentSession::GetLease() const {
    return impl_->GetLease();
}
Nanoseconds AgentSession::ToAgentTime(Nanoseconds time) const {
    return time + impl_->GetOffset().offset;
}
Nanoseconds AgentSession::GetRoundTrip() const {
    return impl_->GetOffset().round_trip;
}
std::vector<nic::LiveFigures> AgentSession::GetFigures() {
    return impl_->GetFigures();
}
AgentReport AgentSession::GetReport() const {
    return impl_->GetReport();
}
void AgentSession::NoteStart() {
    impl_->NoteStart();
}
void AgentSession::OnReconnected() {
    impl_->OnReconnected();
}

void AgentSession::CloseAll() {
    const std::lock_guard lock(GetSessions().mutex);
    // At the same time: one of them may not answer, and there is little time.
    std::vector<std::thread> threads;
    for (const auto* close : GetSessions().closers) threads.emplace_back(*close);
    for (std::thread& thread : threads) thread.join();
}

}  // namespace orv::app
