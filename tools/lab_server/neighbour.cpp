#include "lab_server/neighbour.h"

#include <algorithm>

#include "lab_common/bytes.h"
#include "lab_common/checksum.h"

namespace orv::lab {

namespace {

constexpr std::size_t kArpBytes = 28;
constexpr std::size_t kSolicitationBytes = 40 + 24;
constexpr std::size_t kAdvertisementBytes = 40 + 32;
constexpr unsigned kSolicitation = 135;
constexpr unsigned kAdvertisement = 136;
constexpr unsigned kIcmpv6 = 58;

template <class From, class To>
void CopyBytes(const From& from, To to) {
    std::copy(from.begin(), from.end(), to.begin());
}

bool SameBytes(std::span<const std::byte> a, std::span<const std::byte> b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

/// The frame up to its network layer, with the tags of the question.
std::span<std::byte> WriteLinkHeader(const Link& question, const OwnAddresses& own,
                                     std::span<std::byte> buffer) {
    CopyBytes(question.frame.first(question.network_at), buffer);
    CopyBytes(question.frame.subspan(6, 6), buffer);
    CopyBytes(own.mac, buffer.subspan(6));
    return buffer.subspan(question.network_at);
}

std::size_t AnswerArp(const Link& question, const OwnAddresses& own, std::span<std::byte> buffer) {
    const auto asked = question.network();
    if (asked.size() < kArpBytes || Get32(asked, 0) != 0x00010800 || Get32(asked, 4) != 0x06040001 ||
        !SameBytes(asked.subspan(24, 4), own.ipv4)) {
        return 0;
    }
    const auto answer = WriteLinkHeader(question, own, buffer);
    CopyBytes(asked.first(8), answer);
    Put16(answer, 6, 2);  // a reply
    CopyBytes(own.mac, answer.subspan(8));
    CopyBytes(own.ipv4, answer.subspan(14));
    CopyBytes(asked.subspan(8, 10), answer.subspan(18));
    return question.network_at + kArpBytes;
}

std::size_t AnswerSolicitation(const Link& question, const OwnAddresses& own, std::span<std::byte> buffer) {
    const auto asked = question.network();
    if (asked.size() < kSolicitationBytes || Get8(asked, 6) != kIcmpv6 || Get8(asked, 7) != 255 ||
        Get8(asked, 40) != kSolicitation || !SameBytes(asked.subspan(48, 16), own.ipv6)) {
        return 0;
    }
    const auto source = asked.subspan(8, 16);
    // From a host that checks whether its address is taken: to all hosts of the link.
    const bool has_source =
        std::any_of(source.begin(), source.end(), [](std::byte b) { return b != std::byte{0}; });
    const auto answer = WriteLinkHeader(question, own, buffer);
    CopyBytes(asked.first(8), answer);
    Put16(answer, 4, kAdvertisementBytes - 40);
    CopyBytes(own.ipv6, answer.subspan(8));
    const auto destination = answer.subspan(24, 16);
    if (has_source) {
        CopyBytes(source, destination);
    } else {
        std::fill(destination.begin(), destination.end(), std::byte{0});
        Put16(destination, 0, 0xFF02);
        Put8(destination, 15, 1);
        Put16(buffer, 0, 0x3333);
        Put32(buffer, 2, 1);
    }
    const auto message = answer.subspan(40, kAdvertisementBytes - 40);
    Put32(message, 0, kAdvertisement << 24);
    Put32(message, 4, has_source ? 0x60000000 : 0x20000000);  // solicited, override
    CopyBytes(own.ipv6, message.subspan(8));
    Put16(message, 24, 0x0201);  // option: the target's link-layer address
    CopyBytes(own.mac, message.subspan(26));
    Put16(
        message, 2,
        ChecksumOf(std::uint64_t{SumOf(answer.subspan(8, 32))} + kIcmpv6 + message.size() + SumOf(message)));
    return question.network_at + kAdvertisementBytes;
}

}  // namespace

std::span<const std::byte> AnswerNeighbour(const Link& question, const OwnAddresses& own,
                                           std::span<std::byte, 128> buffer) {
    std::size_t size = 0;
    if (question.protocol == 0x0806) size = AnswerArp(question, own, buffer);
    if (question.protocol == 0x86DD) size = AnswerSolicitation(question, own, buffer);
    return buffer.first(size);
}

}  // namespace orv::lab
