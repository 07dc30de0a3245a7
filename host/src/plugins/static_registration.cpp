#include "orv/framework/static_registration.h"

#include <utility>

namespace orv::framework {

namespace {

std::vector<std::string>& Errors() {
    // Never destroyed: static initialisers of any library may run first or last.
    static auto* errors = new std::vector<std::string>;
    return *errors;
}

}  // namespace

void CStaticRegistration::Run(const std::function<void()>& registration) noexcept {
    try {
        registration();
    } catch (const std::exception& error) {
        Errors().push_back(error.what());
    } catch (...) {
        Errors().push_back("a static registration threw something that is no exception");
    }
}

std::vector<std::string> CStaticRegistration::TakeErrors() {
    return std::exchange(Errors(), {});
}

}  // namespace orv::framework
