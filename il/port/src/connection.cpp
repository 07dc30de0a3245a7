#include "connection.h"

namespace orv::il {

namespace {

constexpr int kSpoiltBytes = 8;

void spoil(std::vector<std::byte>& bytes, Random& random) {
    for (int i = 0; i < kSpoiltBytes && !bytes.empty(); ++i)
        bytes[random.below(static_cast<std::uint32_t>(bytes.size()))] ^=
            static_cast<std::byte>(1 + random.below(255));
}

}  // namespace

Connection::Connection(FaultInjector& faults, ITimeline& timeline, std::uint64_t seed,
                       ISoftwarePort::Send send, ISoftwarePort::HangUp hang_up)
    : faults_(faults), late_(timeline), send_(std::move(send)), hang_up_(std::move(hang_up)), random_(seed) {}

void Connection::send_answer(const tm::Message& message, int times, std::uint32_t delay_ms) {
    if (open_) send(message.encode(), times, delay_ms);
}

void Connection::send(std::vector<std::byte> bytes, int times, std::uint32_t delay_ms) {
    for (; times > 1; --times) late_.send_after(delay_ms, [this, bytes] { send_(bytes); });
    late_.send_after(delay_ms, [this, bytes = std::move(bytes)]() mutable { send_(std::move(bytes)); });
}

std::vector<std::byte> Connection::encode_notification(tm::Message& message, bool discard_eligible) {
    message.header().set_seq_no(++notifications_);
    message.header().set_discard_eligible(discard_eligible);
    return message.encode();
}

void Connection::send_notification(std::vector<std::byte> bytes, bool is_results) {
    if (!open_) return;
    const FaultInjector::OnNotification fault = faults_.on_notification(is_results);
    if (fault.go_offline) return hang_up("the port went offline");
    if (fault.lose) return;
    if (fault.spoil) spoil(bytes, random_);
    send(std::move(bytes), fault.repeat ? 2 : 1, fault.delay_ms);
}

void Connection::hang_up(const std::string& reason) {
    if (!open_) return;
    open_ = false;
    late_.clear();
    if (hang_up_) hang_up_(reason);
}

}  // namespace orv::il
