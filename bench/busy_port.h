// A simulated port at its busiest: every STB changes channel every 50 ms, results go out every second.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include "msgset/iptvcd_1.h"
#include "orv/il/simulated_port.h"
#include "orv/tm/message.h"

namespace bench {

/// Runs as fast as it can.
class BusyPort {
  public:
    static constexpr std::uint32_t kSeconds = 2;  ///< of a test, by the port's clock
    static constexpr std::uint32_t kViewsPerSecond = 20;

    struct Setup {
        std::uint32_t stbs = 0;
        std::uint16_t channels = 200;
        std::uint32_t block = 0;  ///< handle of the STBs' block
    };
    /// `take` gets everything that the port sends.
    BusyPort(const Setup& setup, orv::il::ISoftwarePort::Send take)
        : block_(setup.block), port_({"Port 1", {}}, network_, timeline_, std::move(take), {}) {
        using namespace iptvcd_1_bll;  // NOLINT: their messages
        profileConfig_s profile;
        profile.leave_to_leave_delay = 1000 / kViewsPerSecond;
        profile.zap_direction = ZapDirection::DIR_RANDOM;
        channelBlockConfig_s channels;
        channels.channel_count = setup.channels;
        channels.channel_number_start = channels.channel_number_step = 1;
        channels.channel_initial_step = 1;
        channels.channel_ip_start.v4 = {{225, 0, 0, 1}};
        channels.channel_ip_step.v4 = {{0, 0, 0, 1}};
        channels.filterMode = FilterModeType::EXCLUDE;
        settopBlockConfig_s block;
        block.stblock_handle = setup.block;
        block.settop_count = setup.stbs;
        block.channel_handle = {0};
        block.igmp_version = IgmpVersion::IGMP_VERSION3;
        testConfig_s test;
        test.test_duration = 1000 * kSeconds;
        orv::tm::Message messages[5];
        create_req_UpdateProfile(&messages[0], {profile}, true);
        create_req_UpdateChannelBlock(&messages[1], {channels}, true);
        create_req_UpdateSettopBlock(&messages[2], {block}, true);
        create_req_UpdateConfig(&messages[3], test, true);
        create_req_RegisterResultsNotify(&messages[4], {setup.block}, 1000, true);
        for (const orv::tm::Message& message : messages) port_.Receive(message.encode());
    }

    void RunTest() {
        orv::tm::Message start;
        iptvcd_1_bll::create_req_Start(&start, 0, {block_}, 0, true);
        port_.Receive(start.encode());
        while (timeline_.RunNext()) {
        }
    }

  private:
    /// One entry at a time is all that a running test needs.
    class OneEntryTimeline : public orv::il::ITimeline {
      public:
        orv::il::Nanoseconds GetNow() const override { return now_; }
        std::uint64_t PostAfter(orv::il::Nanoseconds delay, std::function<void()> work) override {
            due_ = now_ + delay;
            work_ = std::move(work);
            return 1;
        }
        void Cancel(std::uint64_t) override { work_ = nullptr; }
        bool RunNext() {
            if (!work_) return false;
            now_ = due_;
            std::exchange(work_, nullptr)();
            return true;
        }

      private:
        orv::il::Nanoseconds now_{}, due_{};
        std::function<void()> work_;
    };

    const std::uint32_t block_;
    orv::il::Network network_;
    OneEntryTimeline timeline_;
    orv::il::SimulatedPort port_;
};

}  // namespace bench
