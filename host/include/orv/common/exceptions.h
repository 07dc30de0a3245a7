// Exceptions of the host and its plug-ins.
#pragma once

#include <stdexcept>
#include <string>

namespace orv::common {

/// Base of all. Every text may be shown to the user as it is: the flag for internal texts is always
/// true.
class COrvException : public std::runtime_error {
  public:
    explicit COrvException(const std::string& text, bool showToUser = true);
    ~COrvException() override;
};

/// A programming error: a failed assertion, an abstract class created, a property that a class does not have.
class COrvLogicError : public COrvException {
  public:
    using COrvException::COrvException;
    ~COrvLogicError() override;
};

/// Something that went wrong at run time: a missing object, a failed request, bad input.
class COrvRunTimeError : public COrvException {
  public:
    using COrvException::COrvException;
    ~COrvRunTimeError() override;
};

/// Throws COrvLogicError with "Assertion Failed: ... Expression: ... File: ... Line: ...".
[[noreturn]] void ThrowAssertionFailed(const char* description, const char* expression, const char* file,
                                       int line);

}  // namespace orv::common

/// Checks an invariant in every build; `expression` appears in the text as written.
#define ORV_ASSERT(expression, description) \
    ((expression)                           \
         ? static_cast<void>(0)             \
         : ::orv::common::ThrowAssertionFailed(description, #expression, ORV_SOURCE_FILE, __LINE__))

/// The source file of a log or error text, relative to the project so that texts are the same on every
/// machine.
#ifndef ORV_SOURCE_FILE
#define ORV_SOURCE_FILE __FILE__
#endif
