// Values that differ between hosts.
#pragma once

#include <cstdint>
#include <vector>

#include "orv/framework/property_value.h"

namespace orv::core {

/// Numbers step with wrap-around, negative steps included; addresses as their classes do.
inline std::uint16_t AddSteps(std::uint16_t start, std::int16_t step, std::uint32_t count) {
    return static_cast<std::uint16_t>(start + static_cast<std::uint32_t>(step) * count);
}
template <class Address>
Address AddSteps(Address start, Address step, std::uint32_t count) {
    step *= count;
    start += step;
    return start;
}

/// The value of one host: from the list when there is one (and from its start again at its end), else the
/// first value and as many steps. `repeat` successive hosts share a value.
template <class Value, class Step>
Value ValueOfHost(const Value& first, const Step& step, const std::vector<Value>& list, std::uint32_t repeat,
                  std::uint32_t host) {
    const std::uint32_t index = host / repeat;
    return list.empty() ? AddSteps(first, step, index) : list[index % list.size()];
}

}  // namespace orv::core
