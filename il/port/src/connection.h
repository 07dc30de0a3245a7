// A port's end of its connection.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fault_injector.h"
#include "late_messages.h"
#include "orv/il/random.h"
#include "orv/il/software_port.h"
#include "orv/tm/message.h"

namespace orv::il {

/// Sends the port's messages, and injects faults that are due.
class Connection {
  public:
    Connection(FaultInjector& faults, ITimeline& timeline, std::uint64_t seed, ISoftwarePort::Send send,
               ISoftwarePort::HangUp hang_up);

    bool is_open() const { return open_; }
    /// Responses carry the number of their request. Does nothing after the end of the connection.
    void send_answer(const tm::Message& message, int times, std::uint32_t delay_ms);
    /// Numbers the message; notifications are sent in the order of their numbers. `discard_eligible`: needs
    /// no acknowledgement.
    std::vector<std::byte> encode_notification(tm::Message& message, bool discard_eligible);
    void send_notification(std::vector<std::byte> bytes, bool is_results);
    void hang_up(const std::string& reason);

  private:
    void send(std::vector<std::byte> bytes, int times, std::uint32_t delay_ms);

    FaultInjector& faults_;
    LateMessages late_;
    ISoftwarePort::Send send_;
    ISoftwarePort::HangUp hang_up_;
    Random random_;
    std::uint32_t notifications_ = 0;
    bool open_ = true;
};

}  // namespace orv::il
