// The address of a peer that answers messages: a port, for the RPC manager.
#pragma once

#include <string>

namespace orv::framework {

class Messenger {
  public:
    Messenger() = default;
    explicit Messenger(std::string address) : address_(std::move(address)) {}

    /// "//127.0.0.1/1/1"
    const std::string& ToMessengerString() const { return address_; }
    bool operator==(const Messenger&) const = default;

  private:
    std::string address_;
};

}  // namespace orv::framework
