// Sends and receives whole frames on one network interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "file_descriptor.h"
#include "frame_filter.h"
#include "mapped_ring.h"
#include "orv/live/frame_parser.h"

namespace orv::nic {

/// A frame that went through the interface. Its bytes are invalid after the call.
struct SeenFrame {
    std::span<const std::byte> bytes;
    std::int64_t stamp = 0;    ///< of the kernel, ns since 1970
    bool is_outgoing = false;  ///< outgoing; the stamp was taken when the driver got it
    live::ReceiveInfo info;
};

/// Two packet sockets with rings in shared memory (packet(7)): one that frames are put into, and one that
/// shows what comes in for its listeners, and which membership messages and unicast datagrams of this machine
/// go out. Needs CAP_NET_RAW and nothing else. Other interfaces are left alone; what is set on this one
/// (promiscuous reception) ends with the link.
class PacketLink {
  public:
    /// Throws NicError.
    explicit PacketLink(const std::string& interface);

    /// Makes the receive ring larger for so many hosts, if it has to be. That takes some ms, and frames that
    /// have not been received are lost. Not while receive() runs. Throws NicError, and nothing has changed.
    void make_room(std::size_t hosts);
    /// What frames are received from now on; first none but what all hosts need. Throws NicError.
    void listen(const Listening& listening);
    /// Of an IP packet behind two tags, in bytes; behind fewer it may be 4 bytes longer.
    std::size_t get_mtu() const { return mtu_; }
    /// Readable when there are frames to receive.
    int get_descriptor() const { return in_.get(); }
    /// Calls `see` for received frames, in order, but for a limited number at once. True if none is left.
    bool receive(const std::function<void(const SeenFrame&)>& see);
    /// Throws NicError if the interface has disappeared, even if only a flush has noticed. Costs a system
    /// call; the descriptor shows POLLERR when there is a reason to.
    void check();
    /// Frames dropped because the ring was full, since the last call.
    std::uint64_t take_dropped();

    /// Buffer for the next frame to send; empty while the ring is full.
    std::span<std::byte> room();
    /// The frame in room() is complete.
    void commit(std::size_t length);
    /// Copies a frame of a host. While the ring is full, frames wait behind it, so that thousands of hosts
    /// can leave at once. False if too many wait.
    bool send(std::span<const std::byte> frame);
    /// Hands complete frames to the interface, as many as it takes now.
    void flush();
    /// Number of complete frames that the interface has not taken yet: call flush again a little later.
    std::size_t get_backlog() const;

  private:
    void open_receiver(std::size_t blocks);
    void attach_filter(const FileDescriptor& socket);
    void open_sender();
    std::uint32_t get_status(std::size_t slot) const;  ///< of a frame to be sent
    void flush_ring();
    bool put(std::span<const std::byte> frame);

    const std::string interface_;
    int index_ = 0;  ///< of the interface
    Listening listening_;
    FileDescriptor in_, out_;
    MappedRing in_ring_, out_ring_;
    std::size_t next_in_ = 0;                    ///< block
    std::size_t next_out_ = 0;                   ///< frame
    std::size_t waiting_ = 0;                    ///< frames in the ring that the interface has not taken
    std::deque<std::vector<std::byte>> behind_;  ///< frames that the ring has no room for
    std::size_t mtu_ = 0;
    std::uint64_t dropped_ = 0;  ///< by a receiver before this one
    int error_ = 0;              ///< error of a flush
};

}  // namespace orv::nic
