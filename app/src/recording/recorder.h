// Records what ports report.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <vector>

#include "orv/core/port.h"
#include "orv/framework/notification_numbers.h"
#include "stb_block_names.h"

namespace orv::tm {
class Message;
}

namespace orv::app {

/// Member of a recording's last line: the number of notifications before it. Shows whether the recording is
/// complete.
inline constexpr const char* kRecordingEnd = "notifications";

/// One line of JSON for each result notification: {"port": name, "test": ordinal of the port's test, left out
/// for the first, "time_ms": milliseconds since that test started, "blocks": [{"stb_block": name, "events":
/// [{member: value, ...}], "rrr_events": [...]}]}. Members have the names of the message set; those that are
/// 0, false or the zero address are left out. If several blocks have the same name, the name of the device is
/// added: "Living rooms/Boxes". A notification that comes twice is written once. The last line is
/// {"notifications": number of lines before it}.
class Recorder {
  public:
    /// Throws COrvRunTimeError that names the path when the file cannot be made.
    explicit Recorder(const std::filesystem::path& path);

    /// Writes a message of a port. Skips messages that are not result notifications or cannot be read.
    void OnMessage(const core::CPort& port, const std::vector<std::byte>& message);
    /// Writes the rest and the last line. Throws COrvRunTimeError if anything could not be written.
    void Close();

  private:
    void Write(const core::CPort& port, const tm::Message& notification);

    std::filesystem::path path_;
    std::ofstream file_;
    std::uint64_t notifications_ = 0;
    StbBlockNames names_;
    struct Test {
        std::uint64_t number = 0;
        std::chrono::nanoseconds started{};
        framework::NotificationNumbers numbers = {};  ///< of what has been written
    };
    std::map<std::uint32_t, Test> tests_;  ///< the latest, by handle of the port
};

}  // namespace orv::app
