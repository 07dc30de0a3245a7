// Whether each notification of a connection has come, and once.
#pragma once

#include <cstdint>

namespace orv::framework {

/// Senders number their notifications from 1 on. A window of the latest numbers, as of RFC 4303
/// section 3.4.3, tells one that comes late from one that comes twice.
class NotificationNumbers {
  public:
    struct Arrival {
        bool is_repeated = false;   ///< it has been here
        std::uint32_t missing = 0;  ///< so many before it have not
    };

    /// 0 is the number of those that have none.
    Arrival Take(std::uint32_t number) {
        if (number == 0) return {};
        const auto ahead = static_cast<std::int32_t>(number - last_);
        // Far behind: the number before was a spoilt one.
        if (ahead > 0 || ahead <= -kWindow) {
            seen_ = ahead > 0 && ahead < kWindow ? seen_ << ahead | 1 : 1;
            last_ = number;
            return {false, ahead > 0 ? static_cast<std::uint32_t>(ahead) - 1 : 0};
        }
        const std::uint64_t bit = std::uint64_t{1} << -ahead;
        const bool is_repeated = (seen_ & bit) != 0;
        seen_ |= bit;
        return {is_repeated, 0};
    }

  private:
    static constexpr std::int32_t kWindow = 64;
    std::uint32_t last_ = 0;
    std::uint64_t seen_ = 0;  ///< bit n: the nth before `last_`
};

}  // namespace orv::framework
