#include "packets.h"

#include <cmath>

namespace orv::il {

namespace {

constexpr double kLongestDelayMs = 1e9;  ///< a week and a half; keeps sums of times in range

/// As std::llround, which is a call, for numbers from 0 to 2^52.
Time rounded(double number) {
    const auto whole = static_cast<Time>(number);
    return whole + (number - static_cast<double>(whole) >= 0.5);
}

/// Time that packets lost in a row take; kNever when it is all time.
Time time_lost(double packets_per_second, double loss, Random& random) {
    const std::uint64_t lost = random.in_a_row(loss);
    if (lost == 0) return 0;
    const auto gap = packet_gap(packets_per_second);
    return lost > static_cast<std::uint64_t>(ms(kLongestMs) / gap) ? kNever : static_cast<Time>(lost) * gap;
}

}  // namespace

Time draw_some_delay(const Distribution& distribution, Random& random) {
    const auto limited = [](double ms) {
        return rounded(std::clamp(ms, 0.0, kLongestDelayMs) * static_cast<double>(kMillisecond));
    };
    double delay = distribution.a;
    switch (distribution.kind) {
        case Distribution::Kind::Constant:
            break;
        case Distribution::Kind::Uniform:
            delay += (distribution.b - distribution.a) * random.fraction();
            break;
        case Distribution::Kind::Normal:
            return random.of_normal(
                [&](double normal) { return limited(distribution.a + distribution.b * normal); });
        case Distribution::Kind::Exponential:
            delay -= distribution.b * std::log(1 - random.fraction());
            break;
    }
    return limited(delay);
}

Time first_arrival(Time first, double packets_per_second, double loss, Random& random) {
    if (loss <= 0) return first;
    const Time lost = time_lost(packets_per_second, loss, random);
    return lost == kNever ? kNever : first + lost;
}

Time last_arrival(Time first, Time last, double packets_per_second, double loss, Random& random) {
    if (loss <= 0) return last;
    const Time lost = time_lost(packets_per_second, loss, random);
    return lost == kNever ? first : std::max(first, last - lost);
}

Packets draw_packets(Time first, Time last, Time silence, double packets_per_second,
                     const NetworkBehaviour& network, Random& random) {
    Packets packets;
    if (first == kNever) return packets;
    const double seconds = static_cast<double>(last - first - silence) / static_cast<double>(kSecond);
    const auto sent = static_cast<std::uint64_t>(std::max(1.0, seconds * packets_per_second + 1e-6));
    packets.lost = random.binomial(sent - std::min<std::uint64_t>(sent, 2), network.loss);
    const std::uint64_t arrived = sent - packets.lost;
    packets.reordered = random.binomial(arrived, network.reordering);
    packets.duplicate = random.binomial(arrived, network.duplication);
    packets.late = random.binomial(arrived, network.late);
    packets.payload_errors = random.binomial(arrived, network.payload_error);
    packets.received = arrived + packets.duplicate;
    return packets;
}

}  // namespace orv::il
