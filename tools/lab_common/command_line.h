// What command lines have in common.
#pragma once

#include <signal.h>

#include <initializer_list>
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

/// Blocks signals and gives them a handler. Returns the mask to wait with: they come only then.
sigset_t CatchSignals(std::initializer_list<int> signals, void (*handler)(int));

}  // namespace orv::lab
