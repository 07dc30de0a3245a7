// A server of bursts and retransmissions on an emulated network. It reads and writes bytes by itself, and
// shares nothing with the ports that it serves.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "emulated_network.h"

namespace testing_aids {

/// Serves 10.0.9.9:5000, at 02:00:00:00:09:09. Its streams are those of the network: number n of a group was
/// sent at n * kGap.
class EmulatedServer {
  public:
    using Nanoseconds = EmulatedNetwork::Nanoseconds;

    EmulatedServer(FakeTimeline& timeline, EmulatedNetwork& network);

    static constexpr std::uint16_t kPort = 5000;
    Nanoseconds way = std::chrono::milliseconds(5);           ///< from a request to its answer
    Nanoseconds burst_gap = std::chrono::milliseconds(1);     ///< of packets
    Nanoseconds backfill = std::chrono::milliseconds(200);    ///< a burst begins that far in the past
    Nanoseconds sbit_after = std::chrono::milliseconds(200);  ///< the first packet
    int silent_requests = 0;                                  ///< are not answered, of each STB
    int response = 200;
    bool has_sbit = true;          ///< in the header extension
    bool tells_join_time = false;  ///< `sbit_after`, in RAMS-I
    bool sends_packets = true;     ///< of bursts
    bool sends_on = false;         ///< after a termination
    bool wants_token = false;
    int token_life = 60;  ///< s
    int osn_error = 0;
    std::set<std::uint16_t>
        lost;  ///< original sequence numbers that neither bursts nor repairs bring, once each
    int repair_copies = 1;

    std::vector<std::string> heard;  ///< "12 RAMS-R e1000001 min 300", with the time in ms
    /// Sends a datagram to the STB that was heard last; nothing if there was none.
    void Say(std::span<const std::byte> payload);

  private:
    struct Burst {
        std::uint32_t ssrc = 0;
        std::uint64_t next = 0;  ///< packet
        std::uint64_t end = UINT64_MAX;
        Nanoseconds begun{};
        bool is_over = false;
    };
    void OnFrame(const std::vector<std::byte>& frame);
    void OnMessage(const std::vector<std::byte>& frame, std::size_t at, std::size_t size);
    void Send(const std::vector<std::byte>& request, const std::vector<std::uint8_t>& payload);
    void SendInformation(const std::vector<std::byte>& request, std::uint32_t ssrc);
    void SendPacket(const std::vector<std::byte>& request, std::uint32_t ssrc, std::uint64_t number,
                    int sbit);
    void Go(const std::vector<std::byte>& request, int generation);

    FakeTimeline& timeline_;
    EmulatedNetwork& network_;
    std::map<int, Burst> bursts_;  ///< by number
    int last_burst_ = 0;
    std::uint16_t sequence_ = 0;
    int requests_ = 0;
    bool has_token_ = false;
    std::vector<std::byte> last_request_;
};

/// An STB that uses the server, in three views of a second each. Channel 1 is e1000001.
struct UnicastScenario {
    explicit UnicastScenario(TestType type, const orv::nic::UnicastSettings& settings = {});

    LiveScenario live;
    EmulatedServer server;
};

}  // namespace testing_aids
