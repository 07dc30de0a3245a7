// The viewers of one group on one link, and who of them is about to answer a query.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "orv/il/time.h"
#include "orv/live/membership_message.h"

namespace orv::nic {

/// A device asks for a group whenever one of its viewers leaves; a query then concerns only those whose
/// answer to the one before is not still to come, so that what all queries cost together is bounded by the
/// answers.
class AskedViewers {
  public:
    /// Position of each STB in the list that it is in, by number of the STB.
    using Positions = std::vector<std::uint32_t>;

    void add(std::uint32_t stb, Positions& positions) {
        positions[stb] = static_cast<std::uint32_t>(stbs_.size());
        stbs_.push_back(stb);
    }
    void remove(std::uint32_t stb, Positions& positions) {
        on_answered(stb, positions);
        move(positions[stb], stbs_.size() - 1, positions);
        stbs_.pop_back();
    }
    /// The STB, which is in the list, may have nothing more to answer.
    void on_answered(std::uint32_t stb, Positions& positions) {
        if (positions[stb] < asked_) move(positions[stb], --asked_, positions);
    }
    void on_nobody_answers() { asked_ = 0; }

    /// Calls `tell` for each viewer that the query tells anything new. `version_changes`: how often hosts had
    /// to change their version and dropped their answers.
    template <class Tell>
    void ask(const live::MembershipQuery& query, il::Time now, std::uint32_t version_changes, Tell&& tell) {
        if (!is_repeated(query, now) || version_changes != version_changes_) {
            asked_ = 0;
            version_changes_ = version_changes;
            version_ = query.version;
            code_ = query.max_response_code;
            interval_ = query.query_interval;
            asked_until_ =
                query.sources.GetSize() > 0 ? now : now + kRounds * query.max_response_time.count();
        }
        for (; asked_ < stbs_.size(); ++asked_) tell(stbs_[asked_]);
    }

    auto begin() const { return stbs_.begin(); }
    auto end() const { return stbs_.end(); }

  private:
    /// All are told again after so many response times, because a host may change its version back by itself.
    static constexpr int kRounds = 4;

    bool is_repeated(const live::MembershipQuery& query, il::Time now) const {
        return query.sources.GetSize() == 0 && now < asked_until_ && query.version == version_ &&
               query.max_response_code == code_ && query.query_interval == interval_;
    }
    void move(std::size_t from, std::size_t to, Positions& positions) {
        std::swap(stbs_[from], stbs_[to]);
        positions[stbs_[from]] = static_cast<std::uint32_t>(from);
        positions[stbs_[to]] = static_cast<std::uint32_t>(to);
    }

    std::vector<std::uint32_t> stbs_;  ///< those who were asked come first
    std::size_t asked_ = 0;
    // Of the query that all viewers were told last:
    il::Time asked_until_ = 0;
    live::MembershipVersion version_{};
    std::uint16_t code_ = 0;
    live::Nanoseconds interval_{};
    std::uint32_t version_changes_ = 0;
};

}  // namespace orv::nic
