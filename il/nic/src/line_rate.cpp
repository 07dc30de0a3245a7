// How fast an interface is.
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include "file_descriptor.h"
#include "orv/nic/live_port.h"

namespace orv::nic {

namespace {

constexpr double kUnknown = 10e9;
constexpr double kMegabit = 1e6;

}  // namespace

double GetLineRate(const std::string& interface) {
    if (::if_nametoindex(interface.c_str()) == 0)
        throw NicError("interface " + interface + ": there is no such interface");
    const FileDescriptor any(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ethtool_cmd command{};
    command.cmd = ETHTOOL_GSET;
    ifreq request{};
    interface.copy(request.ifr_name, IFNAMSIZ - 1);
    request.ifr_data = reinterpret_cast<char*>(&command);
    if (::ioctl(any.get(), SIOCETHTOOL, &request) != 0) return kUnknown;
    const std::uint32_t speed = ethtool_cmd_speed(&command);
    const bool is_known = speed != 0 && speed != static_cast<std::uint32_t>(SPEED_UNKNOWN);
    return is_known ? speed * kMegabit : kUnknown;
}

}  // namespace orv::nic
