#include <stdexcept>

#include "agents/protocol/parcels.h"
#include "agents/protocol/settings.h"
#include "agents/protocol/step.h"
#include "fuzz/any_message.h"
#include "fuzz/checks.h"
#include "orv/bus/inbox.h"

namespace testing_aids {

using namespace orv::app;  // NOLINT: the protocol is what is checked
using namespace orv::bus;  // NOLINT

namespace {

/// What is read is written as something that reads the same.
template <class Read, class Write>
bool check_text(const std::string& text, Read read, Write write) {
    try {
        const std::string once = write(read(text));
        if (write(read(once)) != once) throw std::logic_error("it is written as something else: " + once);
        return true;
    } catch (const ProtocolError&) {
        return false;
    }
}

/// Frames one after the other, their lengths in front. Parcels come out in order, and what is not taken is
/// bounded.
bool check_lane(std::span<const std::byte> bytes) {
    constexpr std::size_t kMost = 1 << 16;
    Inbox inbox(Lane::Down, kMost);
    std::uint64_t last = 0;
    std::size_t untaken = 0;
    bool is_accepted = false;
    while (bytes.size() >= 2) {
        const std::size_t length = std::min<std::size_t>(
            std::to_integer<unsigned>(bytes[0]) | std::to_integer<unsigned>(bytes[1]) << 8, bytes.size() - 2);
        const auto frame = decode_frame(bytes.subspan(2, length));
        bytes = bytes.subspan(2 + length);
        if (!frame) continue;
        const Inbox::Result result = inbox.add(*frame);
        if ((result.verdict == Inbox::Verdict::Complete) != result.parcel.has_value())
            throw std::logic_error("a verdict without its parcel");
        if (!result.parcel) continue;
        is_accepted = true;
        if (result.number <= last) throw std::logic_error("a parcel comes out of order");
        last = result.number;
        if (untaken > kMost) throw std::logic_error("more than was agreed waits");
        untaken += result.parcel->data.size();
        if (result.number % 3 == 0) {
            inbox.take(result.number);
            untaken = 0;
        }
    }
    const Acknowledgement told = inbox.get_acknowledgement();
    if (told.taken >= told.expected) throw std::logic_error("more was taken than has come");
    return is_accepted;
}

template <class Read>
bool check_steps(std::span<const std::byte> bytes, Read read) {
    try {
        const std::vector<std::byte> once = Encode(read(bytes));
        if (once.size() != bytes.size() || !std::equal(once.begin(), once.end(), bytes.begin()))
            throw std::logic_error("a step is written as something else");
        return true;
    } catch (const ProtocolError&) {
        return false;
    }
}

}  // namespace

bool check_agents_bytes(std::span<const std::byte> bytes) {
    if (bytes.empty()) return false;
    const unsigned choice = std::to_integer<unsigned>(bytes[0]);
    const auto rest = bytes.subspan(1);
    const std::string text(reinterpret_cast<const char*>(rest.data()), rest.size());
    const auto write = [](const auto& value) { return ToJson(value); };
    switch (choice % 11) {
        case 0:
            return check_text(text, ReadControlRequest, write);
        case 1:
            return check_text(text, ReadControlAnswer, write);
        case 2:
            return check_text(text, ReadSessionSetup, write);
        case 3:
            return check_text(text, ReadSessionAnswer, write);
        case 4:
            return check_text(text, ReadStreams, write);
        case 5:
            return check_text(text, ReadStreamsOnAir, write);
        case 6:
            return check_text(text, ReadFigures, write);
        case 7:
            return check_steps(rest, ReadStep);
        case 8:
            return check_steps(rest, ReadStepDone);
        case 9:
            return decode_acknowledgement(rest).has_value();
        default:
            return check_lane(rest);
    }
}

}  // namespace testing_aids
