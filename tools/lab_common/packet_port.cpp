#include "lab_common/packet_port.h"

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <system_error>

#include "lab_common/udp_checksum.h"

namespace orv::lab {

namespace {

// A ring rather than the socket's receive buffer, which an ordinary user cannot make large enough. 64 MiB
// hold half a second of 50,000 frames/s.
constexpr std::size_t kSlotBytes = 2048 + 256;  // a frame and what the kernel says about it
constexpr std::size_t kSlotsInBlock = 28;
constexpr std::size_t kBlockBytes = 65536;
constexpr std::size_t kBlocks = 512;
constexpr std::size_t kSlots = kBlocks * kSlotsInBlock;
constexpr std::size_t kRingBytes = kBlocks * kBlockBytes;
static_assert(kSlotsInBlock * kSlotBytes <= kBlockBytes && kSlotBytes % TPACKET_ALIGNMENT == 0);

const tpacket2_hdr& HeaderOf(const std::byte* slot) {
    return *reinterpret_cast<const tpacket2_hdr*>(slot);
}

std::atomic_ref<__u32> StatusOf(std::byte* slot) {
    return std::atomic_ref<__u32>(reinterpret_cast<tpacket2_hdr*>(slot)->tp_status);
}

}  // namespace

PacketPort::PacketPort(const std::string& interface, Wanted wanted) : interface_(interface) {
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(ETH_P_ALL);
    address.sll_ifindex = static_cast<int>(if_nametoindex(interface.c_str()));
    if (address.sll_ifindex == 0) Fail("look for the interface");
    socket_ = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);  // gets nothing until it is bound
    if (socket_ < 0) Fail("open a packet socket");
    const auto set = [this](int option, const auto& value, const char* what) {
        if (setsockopt(socket_, SOL_PACKET, option, &value, sizeof value) != 0) Fail(what);
    };
    set(PACKET_VERSION, int{TPACKET_V2}, "set the version of the ring");
    if (wanted == Wanted::kAll) {
        packet_mreq everything{};
        everything.mr_ifindex = address.sll_ifindex;
        everything.mr_type = PACKET_MR_PROMISC;
        set(PACKET_ADD_MEMBERSHIP, everything, "make the interface promiscuous");
    }
    set(PACKET_IGNORE_OUTGOING, 1, "ignore what goes out");
    set(PACKET_RX_RING, tpacket_req{kBlockBytes, kBlocks, kSlotBytes, kSlots}, "make the receive ring");
    void* const ring = mmap(nullptr, kRingBytes, PROT_READ | PROT_WRITE, MAP_SHARED, socket_, 0);
    if (ring == MAP_FAILED) Fail("map the receive ring");
    ring_ = static_cast<std::byte*>(ring);
    if (bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) Fail("bind");
}

PacketPort::~PacketPort() {
    if (ring_) munmap(ring_, kRingBytes);
    if (socket_ >= 0) close(socket_);
}

std::size_t PacketPort::Receive(std::size_t most, const Take& take) {
    const Nanoseconds to_steady = ReadClock(CLOCK_MONOTONIC) - ReadClock(CLOCK_REALTIME);
    std::size_t count = 0;
    for (; count < most; ++count) {
        std::byte* const slot =
            ring_ + next_slot_ / kSlotsInBlock * kBlockBytes + next_slot_ % kSlotsInBlock * kSlotBytes;
        if (!(StatusOf(slot).load(std::memory_order_acquire) & TP_STATUS_USER)) break;
        if (auto frame = ReadSlot(slot)) {
            const auto& header = HeaderOf(slot);
            take(*frame, std::chrono::seconds(header.tp_sec) + Nanoseconds(header.tp_nsec) + to_steady);
        }
        StatusOf(slot).store(TP_STATUS_KERNEL, std::memory_order_release);
        next_slot_ = (next_slot_ + 1) % kSlots;
    }
    received_ += count;
    return count;
}

std::optional<Frame> PacketPort::ReadSlot(const std::byte* slot) {
    const tpacket2_hdr& header = HeaderOf(slot);
    if (header.tp_len > header.tp_snaplen || header.tp_len > Frame::kMostBytes || header.tp_len < ETH_HLEN) {
        ++too_long_;
        return std::nullopt;
    }
    Frame frame({slot + header.tp_mac, header.tp_snaplen});
    if (header.tp_status & TP_STATUS_CSUMNOTREADY) FinishUdpChecksum(frame.bytes());
    if (header.tp_status & TP_STATUS_VLAN_VALID) {
        // The kernel has taken the outermost tag off.
        const bool has_protocol = header.tp_status & TP_STATUS_VLAN_TPID_VALID;
        frame.PushTag(
            {has_protocol ? header.tp_vlan_tpid : std::uint16_t{ETHERTYPE_VLAN}, header.tp_vlan_tci});
    }
    return frame;
}

void PacketPort::Send(std::span<mmsghdr> messages) {
    while (!messages.empty()) {
        const int sent = sendmmsg(socket_, messages.data(), static_cast<unsigned>(messages.size()), 0);
        if (sent > 0) {
            messages = messages.subspan(static_cast<std::size_t>(sent));
        } else if (errno != EINTR) {
            ++not_sent_;  // the first of them
            messages = messages.subspan(1);
        }
    }
}

void PacketPort::CheckInterface() {
    int error = 0;
    socklen_t size = sizeof error;
    if (getsockopt(socket_, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error != 0) {
        errno = error;
        Fail("wait for frames");
    }
}

std::uint64_t PacketPort::not_received() {
    tpacket_stats statistics{};
    socklen_t size = sizeof statistics;
    if (getsockopt(socket_, SOL_PACKET, PACKET_STATISTICS, &statistics, &size) == 0) {
        ring_was_full_ += statistics.tp_drops;  // since it was last asked
    }
    return too_long_ + ring_was_full_;
}

void PacketPort::Fail(const std::string& operation) const {
    throw std::system_error(errno, std::generic_category(), interface_ + ": cannot " + operation);
}

}  // namespace orv::lab
