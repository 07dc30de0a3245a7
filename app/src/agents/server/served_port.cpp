#include "agents/server/served_port.h"

#include <algorithm>
#include <utility>

#include "agents/server/mirrored_port.h"
#include "agents/server/timed_messages.h"
#include "orv/il/simulated_port.h"
#include "run/endable_port.h"
#include "run/task_timeline.h"

namespace orv::app {

namespace {

std::string_view GetTextOfParcel(const std::vector<std::byte>& data) {
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

[[noreturn]] void Refuse(ParcelKind kind) {
    throw ProtocolError("a parcel of kind " + std::to_string(static_cast<int>(kind)) + " for a port");
}

/// Messages, some of which are for a certain time.
class PortWithMessages : public ServedPort {
  public:
    void Take(ParcelKind kind, std::vector<std::byte> data) override {
        if (kind == ParcelKind::Message) return messages_.Add({}, std::move(data));
        if (kind != ParcelKind::MessageAt) return TakeOther(kind, data);
        auto timed = ReadTimedMessage(data);
        if (!timed || timed->time < timed->time.zero()) throw ProtocolError("a timed message without a time");
        messages_.Add(timed->time, std::move(timed->message));
    }
    std::chrono::nanoseconds GetLatestStart() const override { return messages_.GetLatest(); }

  protected:
    virtual void TakeOther(ParcelKind kind, const std::vector<std::byte>& data) = 0;
    virtual void Receive(const std::vector<std::byte>& message) = 0;

  private:
    TimedMessages messages_{[this](const std::vector<std::byte>& message) { Receive(message); }};
};

class ServedLivePort : public PortWithMessages {
  public:
    ServedLivePort(const SessionSetup& session, const RemotePortSetup& port, Output output)
        : line_rate_(nic::GetLineRate(port.place)),
          port_(std::make_unique<nic::LivePort>(MakeSetup(session, port), std::move(output.send),
                                                std::move(output.hang_up), std::move(output.complain))) {}
    ~ServedLivePort() override { port_.End(); }

    nic::LiveFigures GetFigures() const override { return port_.GetFigures(); }
    double GetLineRate() const override { return line_rate_; }

  private:
    static nic::LivePort::Setup MakeSetup(const SessionSetup& session, const RemotePortSetup& port) {
        nic::LivePort::Setup setup;
        setup.name = port.name;
        setup.interface = port.place;
        setup.faults = port.faults;
        setup.seed = session.seed;
        setup.membership = session.live.membership;
        setup.unicast = session.live.unicast;
        return setup;
    }
    void Receive(const std::vector<std::byte>& message) override { port_.Receive(message); }
    void TakeOther(ParcelKind kind, const std::vector<std::byte>& data) override {
        if (kind != ParcelKind::Streams) Refuse(kind);
        port_.SetStreams(ReadStreams(GetTextOfParcel(data)));
    }

    const double line_rate_;
    EndablePort port_;
};

/// Lives by this machine's clock.
class ServedSimulatedPort : public PortWithMessages {
  public:
    ServedSimulatedPort(const SessionSetup& session, const RemotePortSetup& port, Output output)
        : network_(session.network),
          port_({port.name, port.faults}, network_, timeline_, std::move(output.send),
                std::move(output.hang_up)) {
        network_.is_sent = [this](const il::ipAddress_t& group, const il::SourceFilter& filter) {
            return streams_.IsSent(group, filter);
        };
    }

  private:
    void Receive(const std::vector<std::byte>& message) override { port_.Receive(message); }
    void TakeOther(ParcelKind kind, const std::vector<std::byte>& data) override {
        if (kind != ParcelKind::OnAir) Refuse(kind);
        il::StreamsOnAir streams(ReadStreamsOnAir(GetTextOfParcel(data)));
        port_.ChannelsChange([&] { streams_ = std::move(streams); });
    }

    il::StreamsOnAir streams_;
    il::Network network_;
    TaskTimeline timeline_;
    il::SimulatedPort port_;
};

/// Lives by the controller's clock.
class ServedSteppedPort : public ServedPort {
  public:
    ServedSteppedPort(const SessionSetup& session, const RemotePortSetup& port, Output output)
        : port_(port, session.network, session.now), step_done_(std::move(output.step_done)) {}

    void Take(ParcelKind kind, std::vector<std::byte> data) override {
        if (kind != ParcelKind::Step) Refuse(kind);
        step_done_(port_.TakeStep(data));
    }

  private:
    MirroredPort port_;
    const std::function<void(std::vector<std::byte>)> step_done_;
};

}  // namespace

std::unique_ptr<ServedPort> MakeServedPort(const SessionSetup& setup, std::size_t port,
                                           ServedPort::Output output) {
    const RemotePortSetup& made = setup.ports.at(port);
    if (!made.IsSimulated()) return std::make_unique<ServedLivePort>(setup, made, std::move(output));
    if (setup.is_stepped) return std::make_unique<ServedSteppedPort>(setup, made, std::move(output));
    return std::make_unique<ServedSimulatedPort>(setup, made, std::move(output));
}

}  // namespace orv::app
