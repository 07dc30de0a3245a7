#include "packet_link.h"

#include <fmt/format.h>
#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "orv/nic/live_port.h"

namespace orv::nic {

namespace {

// The kernel hands over a block after 1 ms even if it is not full, so this many blocks hold at least 2 s of
// traffic at a low rate, and 0.25 s at 1 Gbit/s.
constexpr std::size_t kReceiveBlock = 1 << 14;
constexpr std::size_t kReceiveBlocks = 2048;
constexpr int kBlocksAtOnce = 4;
/// Time after which the kernel hands over a block that is not full, so that answers to queries are not late.
constexpr unsigned kRetireMs = 1;
constexpr std::size_t kSendSlot = 2048;
// The kernel may say that it is done with a frame while a receiver on this machine still reads it (veth): it
// takes a long time before a slot's turn comes again.
constexpr std::size_t kSendSlots = 8192;
constexpr std::size_t kSendBlock = 1 << 20;
constexpr std::size_t kSendOffset = TPACKET2_HDRLEN - sizeof(sockaddr_ll);

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

/// Lets everything in, and of what goes out IGMP, packets with a hop-by-hop header (MLD), and UDP to unicast
/// MAC addresses (RTCP of hosts), behind up to two tags: the frames of streams are not looked at twice.
constexpr auto make_filter() {
    const auto jump = [](unsigned condition, std::uint32_t value, int if_true, int if_false) {
        return sock_filter{static_cast<std::uint16_t>(BPF_JMP | condition | BPF_K),
                           static_cast<std::uint8_t>(if_true), static_cast<std::uint8_t>(if_false), value};
    };
    const auto load = [](unsigned how, std::uint32_t offset) {
        return sock_filter{static_cast<std::uint16_t>(how), 0, 0, offset};
    };
    constexpr unsigned kHalf = BPF_LD | BPF_H | BPF_IND, kByte = BPF_LD | BPF_B | BPF_IND;
    constexpr unsigned kTo = BPF_LDX | BPF_W | BPF_IMM;
    return std::array{
        load(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(SKF_AD_OFF + SKF_AD_PKTTYPE)),
        jump(BPF_JEQ, PACKET_OUTGOING, 0, 23),
        load(kTo, 0),
        load(kHalf, 12),
        jump(BPF_JEQ, 0x8100, 2, 0),  // a first tag
        jump(BPF_JEQ, 0x88a8, 1, 0),
        jump(BPF_JEQ, 0x9100, 0, 7),
        load(kTo, 4),
        load(kHalf, 12),
        jump(BPF_JEQ, 0x8100, 2, 0),  // a second one
        jump(BPF_JEQ, 0x88a8, 1, 0),
        jump(BPF_JEQ, 0x9100, 0, 2),
        load(kTo, 8),
        load(kHalf, 12),
        jump(BPF_JEQ, 0x0800, 0, 3),
        load(kByte, 14 + 9),
        jump(BPF_JEQ, IPPROTO_IGMP, 8, 0),
        jump(BPF_JEQ, IPPROTO_UDP, 4, 6),
        jump(BPF_JEQ, 0x86dd, 0, 5),
        load(kByte, 14 + 6),
        jump(BPF_JEQ, IPPROTO_HOPOPTS, 4, 0),
        jump(BPF_JEQ, IPPROTO_UDP, 0, 2),
        load(BPF_LD | BPF_B | BPF_ABS, 0),  // of the destination; bit 0: a group
        jump(BPF_JSET, 1, 0, 1),
        load(BPF_RET | BPF_K, 0),
        load(BPF_RET | BPF_K, 0xffff),
    };
}

}  // namespace

PacketLink::PacketLink(const std::string& interface) : interface_(interface) {
    const auto [index, mtu] = find(interface);
    mtu_ = static_cast<std::size_t>(mtu) - 4;  // the kernel allows for one tag
    open_receiver(index);
    open_sender(index);
}

void PacketLink::open_receiver(int index) {
    in_ = open_socket(interface_);
    set_option(in_, PACKET_VERSION, int{TPACKET_V3}, interface_, "the kernel has no rings of version 3");
    tpacket_req3 ring{};
    ring.tp_block_size = kReceiveBlock;
    ring.tp_block_nr = kReceiveBlocks;
    ring.tp_frame_size = kSendSlot;
    ring.tp_frame_nr = kReceiveBlock / kSendSlot * kReceiveBlocks;
    ring.tp_retire_blk_tov = kRetireMs;
    set_option(in_, PACKET_RX_RING, ring, interface_, "no receive ring");
    in_ring_ = map_ring(in_, kReceiveBlock, kReceiveBlocks, interface_);

    static constexpr auto kFilter = make_filter();
    sock_fprog program{static_cast<unsigned short>(kFilter.size()), const_cast<sock_filter*>(kFilter.data())};
    if (::setsockopt(in_.get(), SOL_SOCKET, SO_ATTACH_FILTER, &program, sizeof program) != 0)
        fail(interface_, "no filter", errno);
    packet_mreq promiscuous{};
    promiscuous.mr_ifindex = index;
    promiscuous.mr_type = PACKET_MR_PROMISC;  // hosts have their own MAC addresses
    set_option(in_, PACKET_ADD_MEMBERSHIP, promiscuous, interface_, "no promiscuous reception");
    bind_to(in_, index, ETH_P_ALL, interface_);
}

void PacketLink::open_sender(int index) {
    out_ = open_socket(interface_);
    set_option(out_, PACKET_VERSION, int{TPACKET_V2}, interface_, "the kernel has no rings of version 2");
    set_option(out_, PACKET_LOSS, int{1}, interface_, "frames cannot be skipped");
    tpacket_req ring{};
    ring.tp_block_size = kSendBlock;
    ring.tp_block_nr = kSendSlot * kSendSlots / kSendBlock;
    ring.tp_frame_size = kSendSlot;
    ring.tp_frame_nr = kSendSlots;
    set_option(out_, PACKET_TX_RING, ring, interface_, "no transmit ring");
    out_ring_ = map_ring(out_, kSendSlot, kSendSlots, interface_);
    bind_to(out_, index, 0, interface_);
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
    if (::getsockopt(in_.get(), SOL_PACKET, PACKET_STATISTICS, &statistics, &length) != 0) return 0;
    return statistics.tp_drops;
}

std::uint32_t PacketLink::get_status(std::size_t slot) const {
    auto* header = reinterpret_cast<tpacket2_hdr*>(out_ring_.slot(slot));
    return std::atomic_ref(header->tp_status).load(std::memory_order_acquire);
}

std::span<std::byte> PacketLink::room() {
    // The kernel has skipped a frame of wrong format.
    if ((get_status(next_out_) & (TP_STATUS_SEND_REQUEST | TP_STATUS_SENDING)) != 0) return {};
    return {out_ring_.slot(next_out_) + kSendOffset, kSendSlot - kSendOffset};
}

void PacketLink::commit(std::size_t length) {
    auto* header = reinterpret_cast<tpacket2_hdr*>(out_ring_.slot(next_out_));
    header->tp_len = static_cast<std::uint32_t>(length);
    std::atomic_ref(header->tp_status).store(TP_STATUS_SEND_REQUEST, std::memory_order_release);
    next_out_ = (next_out_ + 1) % kSendSlots;
}

void PacketLink::flush() {
    if (first_waiting_ == next_out_) return;
    // The send buffer is full, or a queue dropped the frame: it stays in the ring and is sent again.
    while (::send(out_.get(), nullptr, 0, MSG_DONTWAIT) < 0) {
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == ENOBUFS) break;
        error_ = errno;
        first_waiting_ = next_out_;  // nothing more is sent
        return;
    }
    while (first_waiting_ != next_out_ && (get_status(first_waiting_) & TP_STATUS_SEND_REQUEST) == 0)
        first_waiting_ = (first_waiting_ + 1) % kSendSlots;
}

std::size_t PacketLink::get_backlog() const {
    return (next_out_ + kSendSlots - first_waiting_) % kSendSlots;
}

}  // namespace orv::nic
