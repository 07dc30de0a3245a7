#include "agents/server/mirrored_port.h"

#include <map>
#include <utility>

#include "agents/protocol/step.h"
#include "orv/il/simulated_port.h"

namespace orv::app {

namespace {

/// Notes what is asked of it: the controller's timeline does it.
class MirroredTimeline : public il::ITimeline {
  public:
    explicit MirroredTimeline(std::vector<StepAction>& actions) : actions_(actions) {}

    il::Nanoseconds GetNow() const override { return now_; }
    std::uint64_t PostAfter(il::Nanoseconds delay, std::function<void()> work) override {
        work_.emplace(++last_, std::move(work));
        actions_.push_back({StepAction::Kind::Post, last_, delay});
        return last_;
    }
    void Cancel(std::uint64_t id) override {
        if (work_.erase(id) > 0) actions_.push_back({StepAction::Kind::Cancel, id});
    }

    void SetNow(il::Nanoseconds now) { now_ = now; }
    /// Does nothing for a timer that has been cancelled.
    void Expire(std::uint64_t id) {
        if (const auto work = work_.extract(id)) work.mapped()();
    }

  private:
    std::vector<StepAction>& actions_;
    il::Nanoseconds now_{};
    std::uint64_t last_ = 0;
    std::map<std::uint64_t, std::function<void()>> work_;  ///< by timer
};

il::Network WithStreams(il::Network network, const il::StreamsOnAir& streams) {
    network.is_sent = [&streams](const il::ipAddress_t& group, const il::SourceFilter& filter) {
        return streams.IsSent(group, filter);
    };
    return network;
}

}  // namespace

class MirroredPort::Impl {
  public:
    Impl(const RemotePortSetup& setup, const il::Network& network, std::chrono::nanoseconds now)
        : network_(WithStreams(network, streams_)), timeline_(actions_) {
        timeline_.SetNow(now);
        port_.emplace(
            il::SimulatedPort::Setup{setup.name, setup.faults}, network_, timeline_,
            [this](std::vector<std::byte> message) {
                actions_.push_back({StepAction::Kind::Send, 0, {}, std::move(message)});
            },
            [this](const std::string& reason) {
                const auto bytes = std::as_bytes(std::span(reason));
                actions_.push_back({StepAction::Kind::HangUp, 0, {}, {bytes.begin(), bytes.end()}});
            });
    }

    std::vector<std::byte> TakeStep(std::span<const std::byte> bytes) {
        Step step = ReadStep(bytes);
        if (step.now < timeline_.GetNow()) throw ProtocolError("a step is earlier than the one before");
        timeline_.SetNow(step.now);
        switch (step.event) {
            case Step::Event::Receive:
                port_->Receive(step.data);
                break;
            case Step::Event::Timer:
                timeline_.Expire(step.timer);
                break;
            case Step::Event::OnAir: {
                il::StreamsOnAir streams(
                    ReadStreamsOnAir({reinterpret_cast<const char*>(step.data.data()), step.data.size()}));
                port_->ChannelsChange([&] { streams_ = std::move(streams); });
                break;
            }
        }
        return Encode(StepDone{step.number, std::exchange(actions_, {})});
    }

  private:
    il::StreamsOnAir streams_;
    const il::Network network_;
    std::vector<StepAction> actions_;  ///< of the current step
    MirroredTimeline timeline_;
    std::optional<il::SimulatedPort> port_;  ///< last member, because it uses all others
};

MirroredPort::MirroredPort(const RemotePortSetup& setup, const il::Network& network,
                           std::chrono::nanoseconds now)
    : impl_(std::make_unique<Impl>(setup, network, now)) {}

MirroredPort::~MirroredPort() = default;

std::vector<std::byte> MirroredPort::TakeStep(std::span<const std::byte> step) {
    return impl_->TakeStep(step);
}

}  // namespace orv::app
