#include "frame_filter.h"

#include <linux/if_packet.h>
#include <netinet/in.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <unordered_map>
#include <utility>

namespace orv::nic {

namespace {

/// A program with names in place of distances.
class Program {
  public:
    void load(unsigned how, std::uint32_t offset) { code_.push_back({u16(BPF_LD | how), 0, 0, offset}); }
    void set_index(std::uint32_t value) { code_.push_back({u16(BPF_LDX | BPF_W | BPF_IMM), 0, 0, value}); }
    /// Goes on behind it if the condition does not hold.
    void jump_if(unsigned condition, std::uint32_t value, const std::string& to) {
        code_.push_back({u16(BPF_JMP | condition | BPF_K), 0, 1, value});
        jump(to);
    }
    void jump_unless(unsigned condition, std::uint32_t value, const std::string& to) {
        code_.push_back({u16(BPF_JMP | condition | BPF_K), 1, 0, value});
        jump(to);
    }
    void jump(const std::string& to) {
        jumps_.emplace_back(code_.size(), to);
        code_.push_back({u16(BPF_JMP | BPF_JA), 0, 0, 0});
    }
    void label(const std::string& name) { labels_[name] = code_.size(); }
    void end(std::uint32_t length) { code_.push_back({u16(BPF_RET | BPF_K), 0, 0, length}); }

    std::vector<sock_filter> link() {
        for (const auto& [at, to] : jumps_) code_[at].k = static_cast<std::uint32_t>(labels_.at(to) - at - 1);
        return std::move(code_);
    }

  private:
    static std::uint16_t u16(unsigned code) { return static_cast<std::uint16_t>(code); }

    std::vector<sock_filter> code_;
    std::vector<std::pair<std::size_t, std::string>> jumps_;
    std::unordered_map<std::string, std::size_t> labels_;
};

// Relative to the index register: the length of the tags.
constexpr unsigned kWord = BPF_W | BPF_IND, kHalf = BPF_H | BPF_IND, kByte = BPF_B | BPF_IND;
constexpr std::uint32_t kType = 12, kIp = 14;

struct Range {
    std::uint32_t first, last;
};

/// Of the last four bytes of each group, at most so many: the closest ones become one.
std::vector<Range> find_ranges(std::span<const live::IpAddress> groups, bool is_v6) {
    constexpr std::size_t kMostRanges = 64;
    std::vector<std::uint32_t> numbers;
    for (const live::IpAddress& group : groups) {
        if (group.IsV6() != is_v6) continue;
        std::uint32_t number = 0;
        for (const std::uint8_t byte : group.GetBytes().last(4)) number = number << 8 | byte;
        numbers.push_back(number);
    }
    std::ranges::sort(numbers);
    std::vector<std::uint32_t> gaps;
    for (std::size_t i = 1; i < numbers.size(); ++i) gaps.push_back(numbers[i] - numbers[i - 1]);
    std::ranges::sort(gaps, std::greater());
    const std::uint32_t kept = gaps.size() < kMostRanges ? 1 : gaps[kMostRanges - 1];
    std::vector<Range> ranges;
    for (const std::uint32_t number : numbers) {
        if (!ranges.empty() && number - ranges.back().last <= kept) {
            ranges.back().last = number;
        } else {
            ranges.push_back({number, number});
        }
    }
    return ranges;
}

/// Leaves the length of up to two tags in the index register and the type behind them in the accumulator.
void skip_tags(Program& program) {
    program.set_index(0);
    program.load(kHalf, kType);
    for (const std::uint32_t length : {4, 8}) {
        const std::string tag = "tag" + std::to_string(length);
        for (const std::uint32_t type : {0x8100, 0x88a8, 0x9100}) program.jump_if(BPF_JEQ, type, tag);
        program.jump("untagged");
        program.label(tag);
        program.set_index(length);
        program.load(kHalf, kType);
    }
    program.label("untagged");
}

void check_outgoing(Program& program) {
    program.jump_if(BPF_JEQ, 0x86dd, "out6");
    program.jump_unless(BPF_JEQ, 0x0800, "drop");
    program.load(kByte, kIp + 9);
    program.jump_if(BPF_JEQ, IPPROTO_IGMP, "pass");
    program.jump("out udp");
    program.label("out6");
    program.load(kByte, kIp + 6);
    program.jump_if(BPF_JEQ, IPPROTO_HOPOPTS, "pass");
    program.label("out udp");
    program.jump_unless(BPF_JEQ, IPPROTO_UDP, "drop");
    program.load(BPF_B | BPF_ABS, 0);  // of the destination; bit 0: a group
    program.jump_if(BPF_JSET, 1, "drop");
    program.jump("pass");
}

void check_groups(Program& program, const std::vector<Range>& ranges, std::uint32_t last_bytes) {
    program.load(BPF_B | BPF_ABS, 0);
    program.jump_unless(BPF_JSET, 1, "pass");
    program.load(kWord, last_bytes);
    for (const Range& range : ranges) {
        program.jump_unless(BPF_JGE, range.first, "drop");  // the ranges are in order
        program.jump_unless(BPF_JGT, range.last, "pass");
    }
    program.jump("drop");
}

void check_incoming(Program& program, const Listening& listening) {
    constexpr std::uint32_t kIgmpQuery = 0x11;
    program.jump_if(BPF_JEQ, 0x0806, "pass");
    program.jump_if(BPF_JEQ, 0x86dd, "in6");
    program.jump_unless(BPF_JEQ, 0x0800, "drop");
    program.load(kByte, kIp + 9);
    program.jump_if(BPF_JEQ, IPPROTO_UDP, "in udp4");
    program.jump_unless(BPF_JEQ, IPPROTO_IGMP, "drop");
    if (listening.hears_reports) program.jump("pass");
    // Behind a header of 20 bytes, or of 24 with Router Alert; others are rare.
    program.load(kByte, kIp);
    program.jump_if(BPF_JEQ, 0x46, "igmp");
    program.jump_unless(BPF_JEQ, 0x45, "pass");
    program.load(kByte, kIp + 20);
    program.jump_if(BPF_JEQ, kIgmpQuery, "pass");
    program.jump("drop");
    program.label("igmp");
    program.load(kByte, kIp + 24);
    program.jump_if(BPF_JEQ, kIgmpQuery, "pass");
    program.jump("drop");
    program.label("in udp4");
    check_groups(program, find_ranges(listening.groups, false), kIp + 16);
    program.label("in6");
    program.load(kByte, kIp + 6);
    program.jump_if(BPF_JEQ, IPPROTO_ICMPV6, "pass");
    program.jump_if(BPF_JEQ, IPPROTO_HOPOPTS, "in mld");
    program.jump_unless(BPF_JEQ, IPPROTO_UDP, "drop");
    check_groups(program, find_ranges(listening.groups, true), kIp + 24 + 12);
    program.label("in mld");
    if (listening.hears_reports) program.jump("pass");
    // Reports, behind a header of 8 bytes.
    program.load(kByte, kIp + 40);
    program.jump_unless(BPF_JEQ, IPPROTO_ICMPV6, "pass");
    program.load(kByte, kIp + 40 + 1);
    program.jump_unless(BPF_JEQ, 0, "pass");
    program.load(kByte, kIp + 48);
    for (const std::uint32_t report : {131, 132, 143}) program.jump_if(BPF_JEQ, report, "drop");
    program.jump("pass");
}

}  // namespace

std::vector<sock_filter> MakeFrameFilter(const Listening& listening) {
    Program program;
    skip_tags(program);
    program.load(BPF_W | BPF_ABS, static_cast<std::uint32_t>(SKF_AD_OFF + SKF_AD_PKTTYPE));
    program.jump_if(BPF_JEQ, PACKET_OUTGOING, "out");
    program.load(kHalf, kType);
    check_incoming(program, listening);
    program.label("out");
    program.load(kHalf, kType);
    check_outgoing(program);
    program.label("pass");
    program.end(0xffff);
    program.label("drop");
    program.end(0);
    return program.link();
}

}  // namespace orv::nic
