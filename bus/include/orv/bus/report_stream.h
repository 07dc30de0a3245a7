// The stream of the server that keeps reports on their way to a controller (JetStream).
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>

#include "orv/bus/connection.h"

namespace orv::bus {

/// A message that the stream has delivered; the stream keeps it, and counts it as in flight, until it is
/// acknowledged. Destroying it without that leaves it there.
class Delivered {
  public:
    Delivered(Delivered&&) noexcept;
    Delivered& operator=(Delivered&&) noexcept;
    ~Delivered();

    std::span<const std::byte> data() const;
    void acknowledge();

  private:
    friend class ReportStream;
    struct Native;
    explicit Delivered(void* message) : message_(message) {}
    void* message_;  ///< natsMsg
};

/// Reads what is published on one subject of the stream. The stream is kept in the server's memory: whatever
/// a server that dies takes along, its sender still has.
class ReportStream {
  public:
    using Handler = std::function<void(Delivered)>;

    /// Makes the stream unless the server has it, and begins to read. `handler` is called on a thread of the
    /// subscription's own. Throws BusError, also for a server without JetStream, saying so.
    ReportStream(Connection& connection, const std::string& subject, Handler handler,
                 std::chrono::milliseconds patience);
    /// Stops reading; what is left of the subject is removed by the server.
    ~ReportStream();
    ReportStream(const ReportStream&) = delete;
    ReportStream& operator=(const ReportStream&) = delete;

    /// Makes stream and consumer again if the server has lost them. Called after reconnecting, and whenever
    /// nothing comes that should. Throws BusError.
    void restore(std::chrono::milliseconds patience);

  private:
    struct Native;
    std::unique_ptr<Native> native_;
};

}  // namespace orv::bus
