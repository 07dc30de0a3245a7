// The stream of the server that keeps reports on their way to a controller (JetStream).
#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "orv/bus/connection.h"

namespace orv::bus {

/// Reads what is published on one subject of the stream. The stream is kept in the server's memory: whatever
/// a server that dies takes along, its sender still has. Each message is to be acknowledged: so many may be
/// delivered and not acknowledged, and the others wait in the server.
class ReportStream {
  public:
    /// Makes the stream unless the server has it, and begins to read. `handler` is called on a thread of its
    /// own; what acknowledge() needs of a message is its `reply`. Throws BusError, also for a server without
    /// JetStream, saying so.
    ReportStream(Connection& connection, const std::string& subject, Connection::Handler handler,
                 std::chrono::milliseconds patience);
    /// Stops reading; what is left of the subject is removed by the server.
    ~ReportStream();
    ReportStream(const ReportStream&) = delete;
    ReportStream& operator=(const ReportStream&) = delete;

    /// Makes stream and reader again if the server has lost them: it was started again, or somebody has
    /// removed them. Throws BusError.
    void restore(std::chrono::milliseconds patience);
    /// After reconnecting: what was on its way to us and got lost would be delivered again much later, and
    /// the server waits until then. A new reader gets it now. Throws BusError.
    void renew(std::chrono::milliseconds patience);
    /// The server may forget the message. Any thread.
    static void acknowledge(Connection& connection, const std::string& reply);

  private:
    struct Native;
    std::unique_ptr<Native> native_;
};

}  // namespace orv::bus
