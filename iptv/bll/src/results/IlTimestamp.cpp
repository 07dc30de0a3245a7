#include "results/IlTimestamp.h"

#include <fmt/format.h>

namespace orv::iptv {

std::string ConvertTimestampToString(long ts) {
    const long us = ts / 100;
    const long ms = us / 1000;
    const long s = ms / 1000;
    const long min = s / 60;
    const long h = min / 60;
    return fmt::format("{:04}:{:02}:{:02}.{:03}{:03}{:03}", h, min % 60, s % 60, ms % 1000, us % 1000,
                       ts % 100 * 10);
}

}  // namespace orv::iptv
