// What command lines have in common.
#pragma once

#include <stdexcept>

namespace orv::lab {

class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// The value of an option. Throws UsageError.
unsigned ReadNumber(const char* option, const char* text, unsigned least, unsigned most);
/// The same with decimals.
double ReadDecimal(const char* option, const char* text, double least, double most);

}  // namespace orv::lab
