// Live ports that can be ended at any time.
#pragma once

#include <cstddef>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

#include "orv/nic/live_port.h"

namespace orv::app {

/// A live port that any thread may end. Afterwards it ignores calls and keeps its last figures.
class EndablePort {
  public:
    explicit EndablePort(std::unique_ptr<nic::LivePort> port);
    ~EndablePort();
    EndablePort(const EndablePort&) = delete;
    EndablePort& operator=(const EndablePort&) = delete;

    void Receive(const std::vector<std::byte>& bytes);
    /// As LivePort::SetStreams.
    std::future<void> SetStreams(std::vector<nic::Stream> streams);
    nic::LiveFigures GetFigures() const;
    /// When it returns, the port has left its groups and is destroyed.
    void End();

    /// Ends all ports of the process, which is about to exit.
    static void EndAll();

  private:
    mutable std::mutex mutex_;
    std::unique_ptr<nic::LivePort> port_;  ///< null once it has been ended
    nic::LiveFigures last_;                ///< figures at that time
};

}  // namespace orv::app
