// What typed messages throw. Everything derives from Tm_exception, so one handler covers bad input of any
// sort.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include "orv/tm/kinds.h"

namespace orv::tm {

/// A text from a peer in quotes, fit for an error text: printable, and cut after 128 characters.
std::string quoted(std::string_view text);

class Tm_exception : public std::runtime_error {
  public:
    explicit Tm_exception(const std::string& text) : std::runtime_error(text) {}
    ~Tm_exception() override;
};

/// Element index outside an array. The bounds are inclusive; an empty array has bounds 0 and -1.
class Tm_out_of_range_exception : public Tm_exception {
  public:
    Tm_out_of_range_exception(int index, int low, int high);
    ~Tm_out_of_range_exception() override;

    int index() const { return index_; }
    int low() const { return low_; }
    int high() const { return high_; }

  private:
    int index_;
    int low_;
    int high_;
};

/// A message of another type than expected, or a value of another kind than asked for.
class Tm_type_mismatch_exception : public Tm_exception {
  public:
    Tm_type_mismatch_exception(TMT found, TMT expected);
    Tm_type_mismatch_exception(TMV of_array, TMV asked_for);
    /// `where` says whose kind it is, as "member 'sourceIp'".
    Tm_type_mismatch_exception(TMV found, TMV asked_for, const std::string& where);
    ~Tm_type_mismatch_exception() override;

    /// The two codes, found first, as plain numbers (message types or value kinds).
    int found() const { return found_; }
    int expected() const { return expected_; }

  private:
    int found_;
    int expected_;
};

}  // namespace orv::tm
