// The address of whoever answers messages: a port, as the RPC manager knows it.
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
