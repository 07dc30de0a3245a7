#include "packet_link.h"

#include <fmt/format.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "orv/nic/live_port.h"

namespace orv::nic {

namespace {

// The kernel hands over a block after 1 ms even if it is not full: the ring of a run holds at least 0.5 s of
// traffic at a low rate, and of each STB half a second of 128 kbit/s.
constexpr std::size_t kReceiveBlock = 1 << 14;
constexpr std::size_t kIdleBlocks = 128;  ///< of a port without STBs
constexpr std::size_t kLeastBlocks = 512;
constexpr std::size_t kMostBlocks = 4096;
constexpr std::size_t kHostsPerBlock = 2;
constexpr int kBlocksAtOnce = 4;
/// Time after which the kernel hands over a block that is not full, so that answers to queries are not late.
constexpr unsigned kRetireMs = 1;
constexpr std::size_t kSendSlot = 2048;
// The kernel may say that it is done with a frame while a receiver on this machine still reads it (veth): it
// takes a long time before a slot's turn comes again.
constexpr std::size_t kSendSlots = 8192;
constexpr std::size_t kSendBlock = 1 << 20;
constexpr std::size_t kMostBehind = 100'000;  ///< frames of hosts that wait behind the ring
/// struct virtio_net_hdr of linux/virtio_net.h, which is no C++.
struct SendHeader {
    std::uint8_t flags = 0, gso_type = 0;
    std::uint16_t hdr_len = 0;  ///< that the kernel copies
    std::uint16_t gso_size = 0, csum_start = 0, csum_offset = 0;
};
constexpr std::size_t kSendHeader = 10;
static_assert(sizeof(SendHeader) == kSendHeader);
constexpr std::size_t kSendOffset = TPACKET2_HDRLEN - sizeof(sockaddr_ll) + kSendHeader;
/// A frame up to that length is copied by the kernel, which is faster than lending it the slot.
constexpr std::size_t kMostCopied = 256;

[[noreturn]] void fail(const std::string& interface, const std::string& what, int error) {
    throw NicError(fmt::format("interface {}: {}: {}", interface, what, std::strerror(error)));
}

FileDescriptor open_socket(const std::string& interface) {
    // Protocol 0: nothing is received before ring and filter are set up.
    FileDescriptor made(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (made.get() >= 0) return made;
    if (errno == EPERM || errno == EACCES) {
        throw NicError(fmt::format(
            "interface {}: the capability CAP_NET_RAW is missing, which packet sockets need; run as "
            "root, or grant it alone: \"setpriv --ambient-caps +net_raw --inh-caps +net_raw\"",
            interface));
    }
    fail(interface, "no packet socket", errno);
}

template <class Value>
void set_option(const FileDescriptor& socket, int name, const Value& value, const std::string& interface,
                const char* what) {
    if (::setsockopt(socket.get(), SOL_PACKET, name, &value, sizeof value) != 0) fail(interface, what, errno);
}

MappedRing map_ring(const FileDescriptor& socket, std::size_t slot, std::size_t slots,
                    const std::string& interface) {
    void* begin = ::mmap(nullptr, slot * slots, PROT_READ | PROT_WRITE, MAP_SHARED, socket.get(), 0);
    if (begin == MAP_FAILED) fail(interface, "the ring cannot be mapped", errno);
    return {begin, slot, slots};
}

void bind_to(const FileDescriptor& socket, int index, std::uint16_t protocol, const std::string& interface) {
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(protocol);
    address.sll_ifindex = index;
    if (::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        fail(interface, "the packet socket cannot be bound", errno);
}

constexpr int kLeastMtu = 1280 + 4;  ///< of IPv6 (RFC 8200 section 5), behind two tags

ifreq ask(const std::string& interface, unsigned long question, const char* what) {
    const FileDescriptor any(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    interface.copy(request.ifr_name, IFNAMSIZ - 1);
    if (::ioctl(any.get(), question, &request) != 0) fail(interface, what, errno);
    return request;
}

struct Interface {
    int index;
    int mtu;
};

/// An Ethernet interface that is up.
Interface find(const std::string& interface) {
    const unsigned index = ::if_nametoindex(interface.c_str());
    if (index == 0) throw NicError(fmt::format("interface {}: there is no such interface", interface));
    if (ask(interface, SIOCGIFHWADDR, "its type is not known").ifr_hwaddr.sa_family != ARPHRD_ETHER)
        throw NicError(fmt::format("interface {} is not an Ethernet interface", interface));
    const auto flags = ask(interface, SIOCGIFFLAGS, "its state is not known").ifr_flags;
    if ((flags & IFF_UP) == 0) throw NicError(fmt::format("interface {} is down", interface));
    if ((flags & IFF_RUNNING) == 0) throw NicError(fmt::format("interface {} has no carrier", interface));
    const int mtu = ask(interface, SIOCGIFMTU, "its MTU is not known").ifr_mtu;
    if (mtu < kLeastMtu)
        throw NicError(
            fmt::format("interface {}: its MTU is {}, and at least {} is needed", interface, mtu, kLeastMtu));
    return {static_cast<int>(index), mtu};
}

}  // namespace

PacketLink::PacketLink(const std::string& interface) : interface_(interface) {
    const auto [index, mtu] = find(interface);
    index_ = index;
    mtu_ = static_cast<std::size_t>(mtu) - 4;  // the kernel allows for one tag
    open_receiver(kIdleBlocks);
    open_sender();
}

void PacketLink::make_room(std::size_t hosts) {
    const std::size_t blocks =
        hosts == 0 ? kIdleBlocks : std::min(kLeastBlocks + hosts / kHostsPerBlock, kMostBlocks);
    if (blocks <= in_ring_.slots()) return;
    dropped_ += take_dropped();
    open_receiver(blocks);
}

void PacketLink::listen(const Listening& listening) {
    listening_ = listening;
    attach_filter(in_);
}

void PacketLink::attach_filter(const FileDescriptor& socket) {
    std::vector<sock_filter> filter = MakeFrameFilter(listening_);
    const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
    if (::setsockopt(socket.get(), SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) != 0)
        fail(interface_, "no filter", errno);
}

/// In place of the one before, if there is one; that stays if a new one cannot be opened.
void PacketLink::open_receiver(std::size_t blocks) {
    FileDescriptor in = open_socket(interface_);
    set_option(in, PACKET_VERSION, int{TPACKET_V3}, interface_, "the kernel has no rings of version 3");
    tpacket_req3 ring{};
    ring.tp_block_size = kReceiveBlock;
    ring.tp_block_nr = static_cast<unsigned>(blocks);
    ring.tp_frame_size = kSendSlot;
    ring.tp_frame_nr = static_cast<unsigned>(kReceiveBlock / kSendSlot * blocks);
    ring.tp_retire_blk_tov = kRetireMs;
    set_option(in, PACKET_RX_RING, ring, interface_, "no receive ring");
    MappedRing in_ring = map_ring(in, kReceiveBlock, blocks, interface_);
    attach_filter(in);
    packet_mreq promiscuous{};
    promiscuous.mr_ifindex = index_;
    promiscuous.mr_type = PACKET_MR_PROMISC;  // hosts have their own MAC addresses
    set_option(in, PACKET_ADD_MEMBERSHIP, promiscuous, interface_, "no promiscuous reception");
    bind_to(in, index_, ETH_P_ALL, interface_);
    in_ring_ = std::move(in_ring);
    in_ = std::move(in);
    next_in_ = 0;
}

void PacketLink::open_sender() {
    out_ = open_socket(interface_);
    set_option(out_, PACKET_VERSION, int{TPACKET_V2}, interface_, "the kernel has no rings of version 2");
    set_option(out_, PACKET_LOSS, int{1}, interface_, "frames cannot be skipped");
    set_option(out_, PACKET_VNET_HDR, int{1}, interface_, "the kernel has no headers of frames");
    tpacket_req ring{};
    ring.tp_block_size = kSendBlock;
    ring.tp_block_nr = kSendSlot * kSendSlots / kSendBlock;
    ring.tp_frame_size = kSendSlot;
    ring.tp_frame_nr = kSendSlots;
    set_option(out_, PACKET_TX_RING, ring, interface_, "no transmit ring");
    out_ring_ = map_ring(out_, kSendSlot, kSendSlots, interface_);
    bind_to(out_, index_, 0, interface_);
}

void PacketLink::check() {
    int error = 0;
    socklen_t length = sizeof error;
    if (error_ != 0 || (::getsockopt(in_.get(), SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error != 0))
        fail(interface_, "it cannot be used any longer", error_ != 0 ? error_ : error);
}

bool PacketLink::receive(const std::function<void(const SeenFrame&)>& see) {
    for (int blocks = 0; blocks < kBlocksAtOnce; ++blocks) {
        auto* block = reinterpret_cast<tpacket_block_desc*>(in_ring_.slot(next_in_));
        std::atomic_ref status(block->hdr.bh1.block_status);
        if ((status.load(std::memory_order_acquire) & TP_STATUS_USER) == 0) return true;
        const std::byte* at = in_ring_.slot(next_in_) + block->hdr.bh1.offset_to_first_pkt;
        for (std::uint32_t left = block->hdr.bh1.num_pkts; left > 0; --left) {
            const auto& frame = *reinterpret_cast<const tpacket3_hdr*>(at);
            const auto& from =
                *reinterpret_cast<const sockaddr_ll*>(at + TPACKET_ALIGN(sizeof(tpacket3_hdr)));
            SeenFrame seen;
            seen.bytes = {at + frame.tp_mac, frame.tp_snaplen};
            seen.stamp = std::int64_t{frame.tp_sec} * 1'000'000'000 + frame.tp_nsec;
            seen.is_outgoing = from.sll_pkttype == PACKET_OUTGOING;
            if ((frame.tp_status & TP_STATUS_VLAN_VALID) != 0) {
                const bool has_type = (frame.tp_status & TP_STATUS_VLAN_TPID_VALID) != 0;
                seen.info.stripped_tag =
                    live::VlanTag{has_type ? frame.hv1.tp_vlan_tpid : std::uint16_t{ETH_P_8021Q},
                                  static_cast<std::uint16_t>(frame.hv1.tp_vlan_tci)};
            }
            seen.info.check_udp = (frame.tp_status & (TP_STATUS_CSUMNOTREADY | TP_STATUS_CSUM_VALID)) == 0;
            see(seen);
            at += frame.tp_next_offset;
        }
        status.store(TP_STATUS_KERNEL, std::memory_order_release);
        next_in_ = (next_in_ + 1) % in_ring_.slots();
    }
    return false;
}

std::uint64_t PacketLink::take_dropped() {
    tpacket_stats_v3 statistics{};
    socklen_t length = sizeof statistics;
    const std::uint64_t before = std::exchange(dropped_, 0);
    if (::getsockopt(in_.get(), SOL_PACKET, PACKET_STATISTICS, &statistics, &length) != 0) return before;
    return before + statistics.tp_drops;
}

std::uint32_t PacketLink::get_status(std::size_t slot) const {
    auto* header = reinterpret_cast<tpacket2_hdr*>(out_ring_.slot(slot));
    return std::atomic_ref(header->tp_status).load(std::memory_order_acquire);
}

std::span<std::byte> PacketLink::room() {
    // The kernel still has it: the ring is full.
    if ((get_status(next_out_) & (TP_STATUS_SEND_REQUEST | TP_STATUS_SENDING)) != 0) return {};
    return {out_ring_.slot(next_out_) + kSendOffset, kSendSlot - kSendOffset};
}

void PacketLink::commit(std::size_t length) {
    auto* header = reinterpret_cast<tpacket2_hdr*>(out_ring_.slot(next_out_));
    header->tp_len = static_cast<std::uint32_t>(kSendHeader + length);
    const SendHeader copied{.hdr_len = static_cast<std::uint16_t>(length <= kMostCopied ? length : 0)};
    std::memcpy(out_ring_.slot(next_out_) + kSendOffset - kSendHeader, &copied, kSendHeader);
    std::atomic_ref(header->tp_status).store(TP_STATUS_SEND_REQUEST, std::memory_order_release);
    next_out_ = (next_out_ + 1) % kSendSlots;
    ++waiting_;
}

bool PacketLink::put(std::span<const std::byte> frame) {
    const std::span<std::byte> to = room();
    if (to.size() < frame.size()) return false;
    std::memcpy(to.data(), frame.data(), frame.size());
    commit(frame.size());
    return true;
}

bool PacketLink::send(std::span<const std::byte> frame) {
    if (frame.size() > kSendSlot - kSendOffset) return false;
    if (behind_.size() >= kMostBehind) flush();
    if (behind_.size() >= kMostBehind) return false;
    if (!behind_.empty() || !put(frame)) behind_.emplace_back(frame.begin(), frame.end());
    return true;
}

void PacketLink::flush() {
    flush_ring();
    if (behind_.empty()) return;
    for (; !behind_.empty(); behind_.pop_front()) {
        if (put(behind_.front())) continue;
        flush_ring();
        if (!put(behind_.front())) return;
    }
    flush_ring();
}

void PacketLink::flush_ring() {
    if (waiting_ == 0) return;
    // The send buffer is full, or a queue dropped the frame: it stays in the ring and is sent again.
    while (::send(out_.get(), nullptr, 0, MSG_DONTWAIT) < 0) {
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == ENOBUFS) break;
        error_ = errno;
        waiting_ = 0;  // nothing more is sent
        return;
    }
    while (waiting_ > 0 &&
           (get_status((next_out_ + kSendSlots - waiting_) % kSendSlots) & TP_STATUS_SEND_REQUEST) == 0)
        --waiting_;
}

std::size_t PacketLink::get_backlog() const {
    return waiting_ + behind_.size();
}

}  // namespace orv::nic
