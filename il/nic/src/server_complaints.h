// What servers did wrong during a run.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include "orv/live/address.h"
#include "orv/nic/live_port.h"

namespace orv::nic {

/// Counts by server and kind, and remembers the first STB of each, so that a thousand STBs that meet with the
/// same problem make one message.
class ServerComplaints {
  public:
    enum class Kind : std::uint8_t {
        Unreachable,   ///< nobody answers for its address, or the gateway's
        NoToken,       ///< port mapping requests are not answered, or refused
        Unanswered,    ///< requests for bursts
        Refused,       ///< requests for bursts; `code` is the response
        NoPackets,     ///< of a burst that it has accepted
        FewRepairs,    ///< for the NACKs of an STB
        NoSbit,        ///< in any burst of an STB that waits for it
        SendsOn,       ///< after the end of a burst
        WrongNumbers,  ///< original sequence numbers
        RejectsToken,  ///< it has issued, or that it wants without having been asked for one
    };
    struct Where {
        live::IpAddress server;
        std::uint16_t port = 0;
        std::uint32_t stb_block = 0;     ///< IL handle
        std::uint32_t settop_index = 0;  ///< within its block, from 1
    };

    void add(Kind kind, const Where& where, std::uint16_t code = 0);
    /// One message for each, and forgets them.
    void report(const LivePort::Complain& complain);

  private:
    struct Problem {
        std::uint64_t count = 0;
        Where first;
    };
    std::map<std::tuple<live::IpAddress, std::uint16_t, Kind, std::uint16_t>, Problem> problems_;
};

}  // namespace orv::nic
