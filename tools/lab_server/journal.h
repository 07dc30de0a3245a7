// What the server has done: counts, and a line of JSON per request.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "lab_common/clock.h"
#include "lab_server/client.h"

namespace orv::lab {

struct Counts {
    std::uint64_t requests = 0;  ///< RAMS-R
    std::uint64_t updates = 0;   ///< of them, those during a burst of the same client and channel
    std::uint64_t refused = 0;   ///< of them, those answered with a response code other than 200
    std::uint64_t bursts = 0;
    std::uint64_t burst_packets = 0;  ///< sent
    std::uint64_t burst_lost = 0;     ///< lost on purpose
    std::uint64_t expired = 0;        ///< bursts that nobody has ended
    std::uint64_t terminations = 0;   ///< RAMS-T
    std::uint64_t byes = 0;
    std::uint64_t nacks = 0;         ///< messages
    std::uint64_t asked = 0;         ///< sequence numbers
    std::uint64_t repairs = 0;       ///< sent
    std::uint64_t repairs_lost = 0;  ///< lost on purpose
    std::uint64_t unknown = 0;       ///< asked for, but not in the history
    std::uint64_t tokens = 0;
    std::uint64_t token_failures = 0;
    std::uint64_t malformed = 0;  ///< datagrams, or messages in them
    std::uint64_t channels = 0;
    std::uint64_t stored = 0;        ///< packets of channels
    std::uint64_t not_received = 0;  ///< frames that found no room
    std::uint64_t not_sent = 0;      ///< frames that the interface did not take
};

void PrintCounts(const Counts& counts);

/// A steady time as time since 1970.
inline Nanoseconds ToDate(Nanoseconds steady) {
    return steady + (ReadClock(CLOCK_REALTIME) - ReadClock(CLOCK_MONOTONIC));
}

/// Lines go to the file when there are many, at the latest when the journal ends.
class RequestLog {
  public:
    /// Without a name it does nothing. Throws std::system_error.
    explicit RequestLog(const std::string& name);

    class Line {
      public:
        Line(RequestLog& log, std::string_view kind, const Client& client, Nanoseconds time);
        ~Line();
        Line(const Line&) = delete;
        Line& operator=(const Line&) = delete;

        Line& Number(std::string_view name, std::uint64_t value);
        Line& Text(std::string_view name, std::string_view value);
        Line& Yes(std::string_view name, bool value);
        /// An array, one number after the other, then End().
        Line& Begin(std::string_view name);
        Line& Item(std::uint64_t value);
        Line& End();

      private:
        void Name(std::string_view name);

        FILE* file_;
        bool first_ = true;
    };

  private:
    friend class Line;
    struct Close {
        void operator()(FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<FILE, Close> file_;
};

}  // namespace orv::lab
