// Why a request is refused.
#pragma once

#include <stdexcept>
#include <string>

namespace orv::il {

/// Codes of the faults that a port answers with.
enum class FaultCode : int {
    Malformed = 1,  ///< the request's members are not those of its kind
    UnknownRequest = 2,
    UnknownHandle = 3,
    BadValue = 4,
    WrongState = 5,  ///< not now: a test is running
    OnPurpose = 6,   ///< of the fault schedule
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
