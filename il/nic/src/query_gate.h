// Decides which general queries the hosts of a link process.
#pragma once

#include "orv/il/time.h"
#include "orv/live/membership_message.h"

namespace orv::nic {

/// A general query costs a pass over all hosts of its link; a flood of them may not cost that many passes.
///
/// - A query that adds nothing to the one before is dropped: of the same version, shortly after it, with a
///   response time that is not shorter. A host whose answer is due sooner than to the new query has nothing
///   to add (RFC 2236 section 3, RFC 3376 section 5.2, RFC 2710 section 4, RFC 3810 section 6.2).
/// - Of all others five in a row pass, and 20 a second in the long run.
class QueryGate {
  public:
    /// `query` is a general one; `now` never goes back.
    bool lets_pass(const live::MembershipQuery& query, il::Time now);

  private:
    static constexpr il::Time kInterval = 50 * il::kMillisecond;
    static constexpr il::Time kMostAhead = 4 * kInterval;

    bool has_passed_ = false;  ///< the other members describe the last query that passed
    il::Time passed_ = 0;
    live::MembershipVersion version_{};
    live::Nanoseconds max_response_time_{};
    il::Time used_until_ = 0;  ///< when the rate would have allowed all of them
};

}  // namespace orv::nic
