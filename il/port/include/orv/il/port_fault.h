// Why a request is rejected.
#pragma once

#include <stdexcept>
#include <string>

namespace orv::il {

/// Fault codes of responses.
enum class FaultCode : int {
    Malformed = 1,  ///< wrong members for this kind of request
    UnknownRequest = 2,
    UnknownHandle = 3,
    BadValue = 4,
    WrongState = 5,  ///< a test is running
    OnPurpose = 6,   ///< injected by the fault schedule
    Internal = 7,
};

class PortFault : public std::runtime_error {
  public:
    PortFault(FaultCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
    FaultCode code() const { return code_; }

  private:
    FaultCode code_;
};

}  // namespace orv::il
