#include <stdexcept>
#include <string>

#include "fuzz/checks.h"
#include "il/fake_timeline.h"
#include "live/sample_frames.h"
#include "orv/live/dhcp6_client.h"

namespace testing_aids {

using namespace orv::live;  // NOLINT

namespace {

const MacAddress kHost{{0x02, 0x00, 0x00, 0x00, 0x0a, 0x01}};

/// A client to which the bytes are said again and again, each time as an answer to its last message, until
/// `times` have been.
void check_client(std::span<const std::byte> bytes, bool is_prefix, bool is_rapid, int times) {
    FakeTimeline timeline;
    std::vector<std::byte> answer(bytes.begin(), bytes.end());
    std::size_t sent = 0;
    auto settings = std::make_shared<Dhcp6Client::Settings>();
    settings->is_prefix = is_prefix;
    settings->rapid_commit = is_rapid;
    settings->attempts = 3;
    Dhcp6Client client({{kHost, {}, {}}}, settings,
                       {timeline, 1,
                        [&](std::span<const std::byte> frame) {
                            ++sent;
                            constexpr std::size_t kTransaction = 14 + 40 + 8 + 1;
                            // Neighbour discovery is shorter, and not for UDP.
                            if (frame[20] != std::byte{17} || answer.size() < 4) return;
                            std::ranges::copy(frame.subspan(kTransaction, 3), answer.begin() + 1);
                        },
                        [&] {
                            const bool is_bound = client.GetState() == AddressClient::State::Bound;
                            const auto& given = client.GetGiven();
                            if (is_bound != given.has_value())
                                throw std::logic_error("bound without an address");
                            if (given && (given->address.IsMulticast() || given->address.IsUnspecified()))
                                throw std::logic_error("an address that no host can have");
                        }});
    client.OnDatagram(IpAddress::V6({}), {}, answer);
    client.Bind();
    for (int i = 0; i < times; ++i) {
        client.OnDatagram(IpAddress::V6({}), {}, answer);
        timeline.RunTo(timeline.GetNow() + std::chrono::seconds(i % 3 == 0 ? 0 : 40 * i));
    }
    client.Release();
    client.OnDatagram(IpAddress::V6({}), {}, answer);
    timeline.RunTo(timeline.GetNow() + std::chrono::hours(1));
    if (client.GetState() != AddressClient::State::Idle) throw std::logic_error("it is never released");
    if (sent > 10'000) throw std::logic_error("it sends without end");
}

}  // namespace

bool check_dhcp6_bytes(std::span<const std::byte> bytes) {
    // Memory of exactly that size, so that a read beyond it is seen.
    const std::vector<std::byte> own(bytes.begin(), bytes.end());
    const bool is_address = ReadDhcp6Answer(own, 1, false).has_value();
    const bool is_prefix = ReadDhcp6Answer(own, 1, true).has_value();
    check_client(own, false, false, 6);
    check_client(own, false, true, 6);
    check_client(own, true, false, 4);
    return is_address || is_prefix;
}

}  // namespace testing_aids
