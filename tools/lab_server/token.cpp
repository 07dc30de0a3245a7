#include "lab_server/token.h"

#include <sys/random.h>

#include <bit>
#include <cerrno>
#include <system_error>

#include "lab_common/bytes.h"
#include "lab_common/clock.h"

namespace orv::lab {

namespace {

/// SipHash-2-4 of whole words (Aumasson and Bernstein, 2012).
class SipHash {
  public:
    explicit SipHash(const std::array<std::uint64_t, 2>& key)
        : v0_(key[0] ^ 0x736f6d6570736575),
          v1_(key[1] ^ 0x646f72616e646f6d),
          v2_(key[0] ^ 0x6c7967656e657261),
          v3_(key[1] ^ 0x7465646279746573) {}

    void Add(std::uint64_t word) {
        v3_ ^= word;
        Round();
        Round();
        v0_ ^= word;
        bytes_ += 8;
    }

    std::uint64_t End() {
        Add(bytes_ << 56);
        v2_ ^= 0xFF;
        for (int i = 0; i < 4; ++i) Round();
        return v0_ ^ v1_ ^ v2_ ^ v3_;
    }

  private:
    void Round() {
        v0_ += v1_;
        v2_ += v3_;
        v1_ = std::rotl(v1_, 13) ^ v0_;
        v3_ = std::rotl(v3_, 16) ^ v2_;
        v0_ = std::rotl(v0_, 32);
        v2_ += v1_;
        v0_ += v3_;
        v1_ = std::rotl(v1_, 17) ^ v2_;
        v3_ = std::rotl(v3_, 21) ^ v0_;
        v2_ = std::rotl(v2_, 32);
    }

    std::uint64_t v0_, v1_, v2_, v3_;
    std::uint64_t bytes_ = 0;
};

}  // namespace

TokenMaker::TokenMaker() {
    if (getrandom(key_.data(), sizeof key_, 0) != static_cast<ssize_t>(sizeof key_)) {
        throw std::system_error(errno, std::generic_category(), "no random numbers for tokens");
    }
}

Token TokenMaker::Make(const Ipv6Address& address, std::uint64_t nonce, std::uint64_t expiry) const {
    SipHash hash(key_);
    hash.Add(Get64(address, 0));
    hash.Add(Get64(address, 8));
    hash.Add(nonce);
    hash.Add(expiry);
    Token token;
    Put64(token, 0, hash.End());
    return token;
}

std::uint64_t NtpSeconds() {
    constexpr std::int64_t kFrom1900To1970 = 2'208'988'800;
    return static_cast<std::uint64_t>(ReadClock(CLOCK_REALTIME) / std::chrono::seconds(1) + kFrom1900To1970);
}

}  // namespace orv::lab
