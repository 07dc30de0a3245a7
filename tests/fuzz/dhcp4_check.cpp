#include <algorithm>
#include <stdexcept>
#include <string>

#include "fuzz/checks.h"
#include "live/dhcp4_network.h"

namespace testing_aids {
namespace {

using namespace orv::live;

void require_that(bool holds, const std::string& otherwise) {
    if (!holds) throw std::logic_error(otherwise);
}

void check_address(const Dhcp4Answer& answer) {
    const IpAddress& address = answer.address;
    require_that(!address.IsUnspecified() && !address.IsMulticast() && address.GetBytes()[0] != 127 &&
                     answer.prefix_length >= 1 && answer.prefix_length <= 32 && answer.gateway != address &&
                     answer.lease_seconds > 0,
                 "no host can have " + address.ToString());
}

/// What the script has brought the client to must bear the bytes, twice.
void check_client(const char* script, std::vector<std::byte> bytes, bool is_addressed) {
    Dhcp4Network network({.rapid_commit = true, .lease_seconds = 3600});
    network.play(script);
    if (is_addressed && bytes.size() >= 34) network.address_to_host(bytes);
    for (int times = 0; times < 2; ++times)
        network.client.OnDatagram(IpAddress::V4(0xc0000201), MacAddress{{2, 0, 0, 0, 0, 1}}, bytes);
    for (const int seconds : {0, 1, 7200}) {
        network.timeline.RunTo(network.timeline.GetNow() + std::chrono::seconds(seconds));
        const bool is_bound = network.client.GetState() == AddressClient::State::Bound;
        require_that(network.client.GetGiven().has_value() == is_bound, "bound without an address");
        require_that(network.timeline.GetPending() <= 1, "more than a timer");
    }
    require_that(network.sent.size() < 60, "a storm of messages");
    network.client.Release();
    require_that(network.timeline.GetPending() == 0, "a timer of an idle host");
}

}  // namespace

bool check_dhcp4_bytes(Bytes bytes) {
    // Memory of exactly that size, so that a read beyond it is seen.
    const std::vector<std::byte> copy(bytes.begin(), bytes.end());
    const auto answer = ReadDhcp4Answer(copy);
    if (answer && answer->type != Dhcp4Type::Nak) check_address(*answer);
    require_that(!answer || Dhcp4ClientOf(copy) == answer->mac, "an answer for nobody");
    check_client("bind", copy, false);
    // In every phase.
    for (const char* script :
         {"", "bind", "bind, offer 10 1 3600", "bind, offer 10 1 3600, ack 10 1 3600",
          "bind, offer 10 1 3600, ack 10 1 3600, 1s", "bind, offer 10 1 3600, ack 10 1 3600, 1900s",
          "bind, offer 10 1 3600, ack 10 1 3600, 3200s", "bind, offer 10 1 3600, nak 0 1 0", "bind, 99s"})
        check_client(script, copy, true);
    return answer.has_value();
}

}  // namespace testing_aids
