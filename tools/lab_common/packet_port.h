// Everything that arrives at a network interface, and a way to send on it.
#pragma once

#include <sys/socket.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "lab_common/clock.h"
#include "lab_common/frame.h"

namespace orv::lab {

/// A packet socket with a memory-mapped ring for what arrives. Not the frames that this machine sends on the
/// interface. Throws std::system_error that names interface and operation.
class PacketPort {
  public:
    /// `arrival` is the kernel's stamp, of the steady clock.
    using Take = std::function<void(Frame& frame, Nanoseconds arrival)>;

    /// kAll: what is addressed to other machines, and to groups that nobody has joined.
    enum class Wanted { kOwn, kAll };

    explicit PacketPort(const std::string& interface, Wanted wanted = Wanted::kOwn);
    ~PacketPort();
    PacketPort(const PacketPort&) = delete;
    PacketPort& operator=(const PacketPort&) = delete;

    /// To wait for.
    int descriptor() const { return socket_; }
    /// Hands on what has arrived, up to `most` frames, each with all of its VLAN tags in its bytes and its
    /// UDP checksum finished. Returns how many.
    std::size_t Receive(std::size_t most, const Take& take);
    /// Sends one frame per message. Frames that the interface does not take are counted and discarded.
    void Send(std::span<mmsghdr> messages);
    /// Throws when the interface has gone down.
    void CheckInterface();

    std::uint64_t received() const { return received_; }
    /// Too long, or more than the ring could hold.
    std::uint64_t not_received();
    std::uint64_t not_sent() const { return not_sent_; }

  private:
    std::optional<Frame> ReadSlot(const std::byte* slot);
    [[noreturn]] void Fail(const std::string& operation) const;

    std::string interface_;
    int socket_ = -1;
    std::byte* ring_ = nullptr;
    std::size_t next_slot_ = 0;
    std::uint64_t received_ = 0;
    std::uint64_t too_long_ = 0;
    std::uint64_t ring_was_full_ = 0;
    std::uint64_t not_sent_ = 0;
};

}  // namespace orv::lab
