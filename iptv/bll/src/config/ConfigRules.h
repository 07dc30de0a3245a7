// Common parts of the validators of the configuration.
#pragma once

#include <cstdint>
#include <source_location>
#include <string>

namespace orv::framework {
class CScriptable;
class ValidationContext;
}  // namespace orv::framework

namespace orv::iptv {

/// Reports that `object` was changed, created or deleted although a test runs.
void ReportChangeUnderTest(framework::ValidationContext& context, framework::CScriptable& object,
                           const std::source_location& where = std::source_location::current());

/// True when each of `count` ports, the first one `port` and each next one `step` further on, lies in 1 to
/// 65535. 32-bit arithmetic.
constexpr bool AreUdpPortsInRange(std::uint32_t port, std::uint32_t step, std::uint32_t count) {
    constexpr std::uint32_t kLast = 65535 - 1;  // counted from port 1
    return port - 1 <= kLast && (port - 1) + step * (count - 1) <= kLast;
}

}  // namespace orv::iptv
