#include "complaints.h"

#include <fmt/format.h>

namespace orv::nic {

namespace {

/// A smaller deficit of a generator is tolerated: a machine may stall for a moment.
constexpr double kSmallShortage = 0.01;
constexpr double kFewLate = 0.01;

}  // namespace

void Complaints::on_too_long(std::size_t streams, std::size_t mtu) const {
    complain_(
        fmt::format("{} streams are not sent: their packets are longer than the {} bytes that the "
                    "interface's MTU leaves",
                    streams, mtu));
}

void Complaints::on_left_behind(std::size_t frames) const {
    complain_(fmt::format(
        "{} frames had not left the interface in the end; hosts may still be members of groups", frames));
}

void Complaints::on_addresses_kept() const {
    complain_("not all hosts could give back their addresses in time; servers think that they have them");
}

void Complaints::look(const LiveFigures& figures) {
    const auto grown = [&](std::uint64_t LiveFigures::*figure) { return figures.*figure - before_.*figure; };
    if (const auto unseen = grown(&LiveFigures::unseen); unseen > 0) {
        complain_(
            fmt::format("{} of {} joins and leaves were not seen leaving the interface; their views are "
                        "not in the results",
                        unseen, unseen + grown(&LiveFigures::joins_and_leaves)));
    }
    const auto late = static_cast<double>(grown(&LiveFigures::very_late_joins));
    const auto all = static_cast<double>(grown(&LiveFigures::joins_and_leaves));
    if (late > kFewLate * all) {
        complain_(fmt::format(
            "{} of {} joins and leaves left more than 50 ms after their time: so many set-top boxes "
            "are too much for this machine",
            late, all));
    }
    if (const auto unsent = grown(&LiveFigures::frames_unsent); unsent > 0)
        complain_(fmt::format("{} frames of hosts were not sent: too many waited for the interface", unsent));
    if (const auto dropped = grown(&LiveFigures::frames_dropped); dropped > 0) {
        complain_(
            fmt::format("{} received frames found no room in the receive ring: what is counted as lost "
                        "was not all lost by the network",
                        dropped));
    }
    const auto unsent = static_cast<double>(grown(&LiveFigures::stream_packets_unsent));
    const auto sent = static_cast<double>(grown(&LiveFigures::stream_packets_sent));
    if (unsent > kSmallShortage * (sent + unsent)) {
        complain_(
            fmt::format("the generator sent {:.1f} % of the packets of its streams: the machine or "
                        "the interface does not keep up with the load",
                        100 * sent / (sent + unsent)));
    }
    before_ = figures;
}

}  // namespace orv::nic
