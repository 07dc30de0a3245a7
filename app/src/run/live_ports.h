// The ports of a test whose set-top boxes live on network interfaces.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "endable_port.h"
#include "orv/core/port.h"
#include "orv/il/faults.h"
#include "orv/nic/live_port.h"
#include "port_link.h"
#include "run_outcome.h"
#include "test_file/live_settings.h"

namespace orv::app {

/// Creates live ports, ends each together with its link, and keeps their figures.
class LivePorts {
  public:
    /// Called, on any thread, with problems that make the figures of the run wrong.
    using Complain = std::function<void(const std::string& text)>;

    LivePorts(const LiveSettings& settings, std::uint64_t seed, Complain complain)
        : settings_(settings), seed_(seed), complain_(std::move(complain)) {}

    /// Creates a port on the interface. Throws a COrvRunTimeError that names the port if the interface cannot
    /// be used. The port object must outlive the link.
    std::unique_ptr<il::ISoftwarePort> Make(const core::CPort& port, const std::string& interface,
                                            il::FaultSchedule faults, il::ISoftwarePort::Send send,
                                            il::ISoftwarePort::HangUp hang_up);

    /// Tells the ports about their hosts. Throws COrvRunTimeError if one refuses.
    void ConfigureInterfaces() const;
    /// Updates what the ports send after a generator has started or stopped. Returns when every stream flows,
    /// so that the first views find their channels; streams slower than a packet per second are not waited
    /// for.
    void FollowGenerators();
    std::vector<LivePortReport> GetReports() const;

  private:
    struct Live {
        const core::CPort* port;
        std::string interface;
        double line_rate;  ///< bit/s
        std::shared_ptr<EndablePort> far_end;
        bool is_sending = false;
    };

    const LiveSettings settings_;
    const std::uint64_t seed_;
    const Complain complain_;
    std::vector<Live> ports_;
};

}  // namespace orv::app
