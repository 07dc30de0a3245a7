// Decimal numbers without rounding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orv::app {

/// units / 10^digits: 0.1, added ten times, is 1.
struct Decimal {
    std::int64_t units = 0;
    int digits = 0;  ///< behind the point
};

/// At most twelve digits, of which six behind the point; no plus sign, leading zeros or exponents.
std::optional<Decimal> ParseDecimal(const std::string& text);

/// from, from + step and so on, none of them above `to`, as texts. `step` is above 0.
class DecimalRange {
  public:
    DecimalRange(Decimal from, Decimal to, Decimal step);

    std::size_t GetCount() const { return count_; }  ///< 0: `from` is above `to`
    std::string GetText(std::size_t index) const;

  private:
    Decimal from_;
    std::int64_t step_ = 1;  ///< in units of `from_`
    std::size_t count_ = 0;
};

}  // namespace orv::app
