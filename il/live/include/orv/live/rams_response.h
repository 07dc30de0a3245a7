// Response codes of RAMS Information.
#pragma once

#include <cstdint>
#include <string_view>

namespace orv::live {

/// What a set-top box makes of a response code.
enum class RamsMeaning {
    Update,       ///< of values sent before: neither acceptance nor refusal
    Accepted,     ///< a burst follows or is on its way
    Completed,    ///< the server has sent the whole burst
    Correctable,  ///< refused: only a different request (or token) may be sent, by the rules of Transient
    Transient,    ///< refused or broken off: may be tried again, by the RTCP timer rules of RFC 4585
    Permanent,    ///< refused: must not be tried again
    Unknown,      ///< also private codes: the answer is an immediate RAMS Termination (RFC 6285 section 7.3)
};

struct RamsResponse {
    RamsMeaning meaning = RamsMeaning::Unknown;
    std::string_view text;  ///< lives as long as the program
};

/// Codes of RFC 6285 sections 7.3.1 and 11.6, and 405 of RFC 6284 section 10.4. RFC 6285 section 6.2 (step 3)
/// calls 504 to 506 permanent as examples; 509 to 512 are counted to them, as they say what the server serves
/// and whom. 404 is about a RAMS Termination, not a request. Throws nothing. Any thread.
RamsResponse ExplainRamsResponse(std::uint16_t code) noexcept;

}  // namespace orv::live
