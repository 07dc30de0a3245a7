#include "orv/common/exceptions.h"

namespace orv::common {

COrvException::COrvException(const std::string& text, bool) : std::runtime_error(text) {}
COrvException::~COrvException() = default;
COrvLogicError::~COrvLogicError() = default;
COrvRunTimeError::~COrvRunTimeError() = default;

void ThrowAssertionFailed(const char* description, const char* expression, const char* file, int line) {
    throw COrvLogicError(std::string("Assertion Failed: ") + description + " Expression: " + expression +
                         " File: " + file + " Line: " + std::to_string(line));
}

}  // namespace orv::common
