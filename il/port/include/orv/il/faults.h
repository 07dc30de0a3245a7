// What goes wrong with a software port, on purpose.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orv::il {

/// One fault. Faults make a run of the same schedule repeatable, and show that whoever talks to the port
/// copes.
struct Fault {
    enum class Kind : std::uint8_t {
        LoseResponse,       ///< the request is carried out, its response is not sent
        Refuse,             ///< the request is answered with a fault and not carried out
        GoOffline,          ///< the connection ends
        LateEndOfTest,      ///< the notification comes `delay_ms` late
        RepeatEndOfTest,    ///< it comes twice
        MissEndOfTest,      ///< it does not come
        SpoilNotification,  ///< bytes of a result notification are changed
    };
    Kind kind = Kind::Refuse;
    /// Refuse, LoseResponse, GoOffline: which request, one of GetRequestNames(); empty: any.
    std::string request = {};
    /// The how manieth match, from 1; GoOffline without request and SpoilNotification: the how manieth
    /// notification.
    std::uint32_t occurrence = 1;
    std::uint32_t delay_ms = 0;  ///< LateEndOfTest
};

using FaultSchedule = std::vector<Fault>;

/// The requests that ports know, without set ("Start", "UpdateProfile"), in the order of the alphabet. Any
/// thread may call it.
const std::vector<std::string>& GetRequestNames();

}  // namespace orv::il
