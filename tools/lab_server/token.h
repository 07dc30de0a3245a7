// Tokens of port mapping (RFC 6284): only the server that made one can tell whether it is valid.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "lab_server/datagram.h"

namespace orv::lab {

using Token = std::array<std::byte, 8>;

class TokenMaker {
  public:
    /// With a key by chance.
    TokenMaker();

    /// Of what RFC 6284 demands: the client's address, its nonce, and the end of validity, in seconds since
    /// 1900. Not of its port, which may be another one than that of the requests.
    Token Make(const Ipv6Address& address, std::uint64_t nonce, std::uint64_t expiry) const;

  private:
    std::array<std::uint64_t, 2> key_{};
};

/// Seconds since 1900.
std::uint64_t NtpSeconds();

}  // namespace orv::lab
