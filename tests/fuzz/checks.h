// What must hold for bytes that come from elsewhere.
#pragma once

#include <cstddef>
#include <span>

namespace testing_aids {

using Bytes = std::span<const std::byte>;

/// Decodes the bytes as a message. When that succeeds, walks every value and sends the message round once
/// more. Returns whether the bytes were a message; throws std::logic_error when the second round differs from
/// the first, and lets through any exception other than Tm_exception.
bool check_message_bytes(Bytes bytes);

/// Makes a message of any kind out of the bytes, changes some of its own, and reads it as that kind. Returns
/// whether it was accepted; throws std::logic_error when what was read is sent on as something else, and lets
/// through any exception other than Tm_exception.
bool check_parser_bytes(Bytes bytes);

/// Sends a simulated or live port such messages, and then runs a test on it, if the first byte says so.
/// Throws std::logic_error when that does not end as it should.
void check_port_bytes(Bytes bytes);

/// Reads the bytes as what controllers and agents say to each other; the first one chooses what. Returns
/// whether it was accepted; throws std::logic_error when what was read is written as something else.
bool check_agents_bytes(Bytes bytes);

/// Reads the bytes as a frame, as they are and once more with checksums that fit, walks everything they say,
/// and lets hosts of all versions, or hosts that ask routers, react to it. Returns whether either was
/// accepted; throws std::logic_error when a frame that a host sends is not as it should be, or a host does
/// what it may not.
bool check_frame_bytes(Bytes bytes);

/// Reads the bytes as RTCP and as a retransmission. Returns whether they were either with something in it;
/// throws std::logic_error when a view points elsewhere or the same bytes are read differently.
bool check_rtcp_bytes(Bytes bytes);

/// Reads the bytes as a DHCPv4 answer, and hands them to a client in every state, as they are and as if they
/// were for it. Returns whether they are an answer; throws std::logic_error when the answer holds what no
/// host can have, or a client does what it may not.
bool check_dhcp4_bytes(Bytes bytes);

/// The same of DHCPv6, whose bytes come several times, each time as if they answered the client's last
/// message.
bool check_dhcp6_bytes(Bytes bytes);

/// Runs a short test of a live port, in the middle of which the bytes come in, untagged and tagged, and are
/// seen going out, with checksums that fit. The last byte chooses what kind of test it is: with its fourth
/// bit set, one with a server, and the bytes are what the server says. Throws std::logic_error when the test
/// does not end as it should.
void check_live_run_bytes(Bytes bytes);

/// Reads the bytes as a test file, and checks that. Returns whether it has no mistakes.
bool check_file_bytes(Bytes bytes);

/// Replays the bytes as a recording of a short test. Returns whether it has no mistakes.
bool check_recording_bytes(Bytes bytes);

/// Changes a results database as the bytes say, and shows its views and its report. Returns whether there is
/// a report. The three throw std::logic_error when what the program says does not agree.
bool check_database_bytes(Bytes bytes);

}  // namespace testing_aids
