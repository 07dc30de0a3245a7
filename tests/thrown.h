// What an action throws, as a text to compare.
#pragma once

#include <string>

namespace testing_aids {

/// The text of the exception of that type that `action` throws, or "nothing thrown".
template <class Exception, class Action>
std::string ThrownBy(const Action& action) {
    try {
        action();
    } catch (const Exception& error) {
        return error.what();
    }
    return "nothing thrown";
}

}  // namespace testing_aids
