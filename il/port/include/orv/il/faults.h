// Fault injection for software ports.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orv::il {

/// One fault of a repeatable schedule, to test how the peer of the port handles it.
struct Fault {
    enum class Kind : std::uint8_t {
        LoseResponse,        ///< the request is carried out, its response is not sent
        Refuse,              ///< the request is answered with a fault and not carried out
        GoOffline,           ///< the connection ends
        LateEndOfTest,       ///< the notification comes `delay_ms` late
        RepeatEndOfTest,     ///< it comes twice
        MissEndOfTest,       ///< it does not come
        SpoilNotification,   ///< bytes of a result notification are changed
        LateResponse,        ///< the response comes `delay_ms` late
        RepeatResponse,      ///< it comes twice
        LoseNotification,    ///< a result notification is not sent
        LateNotification,    ///< it comes `delay_ms` late, behind others
        RepeatNotification,  ///< it comes twice
    };
    Kind kind = Kind::Refuse;
    /// Refuse, GoOffline and those of responses: which request, one of GetRequestNames(); empty: any.
    std::string request = {};
    /// Which match, from 1; for GoOffline without request, and those of notifications: which notification.
    std::uint32_t occurrence = 1;
    std::uint32_t delay_ms = 0;  ///< LateEndOfTest, LateResponse, LateNotification
};

using FaultSchedule = std::vector<Fault>;

/// The requests that ports know, without set ("Start", "UpdateProfile"), in the order of the alphabet. Any
/// thread may call it.
const std::vector<std::string>& GetRequestNames();

}  // namespace orv::il
