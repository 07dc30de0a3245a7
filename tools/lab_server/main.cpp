// lab_server [OPTIONS] INTERFACE: rapid acquisition and retransmission for a laboratory's set-top boxes.
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <system_error>

#include "lab_common/clock.h"
#include "lab_common/command_line.h"
#include "lab_common/packet_port.h"
#include "lab_common/process.h"
#include "lab_server/options.h"
#include "lab_server/server.h"

namespace orv::lab {

namespace {

volatile sig_atomic_t ended = 0;
volatile sig_atomic_t asked = 0;

void OnSignal(int signal) {
    if (signal == SIGUSR1) {
        asked = 1;
    } else {
        ended = 1;
    }
}

MacAddress ReadMacAddress(const std::string& interface) {
    ifreq request{};
    interface.copy(request.ifr_name, IFNAMSIZ - 1);
    const int any_socket = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const int result = any_socket < 0 ? -1 : ioctl(any_socket, SIOCGIFHWADDR, &request);
    const int error = errno;
    if (any_socket >= 0) close(any_socket);
    if (result != 0) throw std::system_error(error, std::generic_category(), interface + ": no MAC address");
    MacAddress mac;
    std::memcpy(mac.data(), request.ifr_hwaddr.sa_data, mac.size());
    return mac;
}

void Serve(const ServerOptions& options, const sigset_t& waiting_mask) {
    constexpr std::size_t kBatch = 256;
    constexpr Nanoseconds kNap = std::chrono::microseconds(500);
    PacketPort port(options.interface, PacketPort::Wanted::kAll);
    Server server(options, ReadMacAddress(options.interface));
    std::fprintf(stderr, "Serving on %s\n", options.interface.c_str());
    while (!ended) {
        const std::size_t received = port.Receive(
            kBatch, [&](Frame& frame, Nanoseconds arrival) { server.Take(frame.bytes(), arrival); });
        server.Send(port);
        if (asked) {
            asked = 0;
            PrintCounts(server.counts(port));
        }
        // Between naps, not at once for each frame: streams would wake it many times in a millisecond.
        const bool is_busy = received > 0 || server.IsBusy();
        const timespec timeout = ToTimespec(received == kBatch ? Nanoseconds(0) : kNap);
        pollfd wanted{port.descriptor(), POLLIN, 0};
        ppoll(&wanted, is_busy ? 0 : 1, is_busy ? &timeout : nullptr, &waiting_mask);
        if (!is_busy && (wanted.revents & POLLERR)) port.CheckInterface();
    }
    PrintCounts(server.counts(port));
}

int Main(int count, char** arguments) {
    try {
        const ServerOptions options = ReadServerOptions(count, arguments);
        KeepTime();
        Serve(options, CatchSignals({SIGTERM, SIGINT, SIGUSR1}, OnSignal));
        return 0;
    } catch (const UsageError& error) {
        std::fprintf(stderr, "lab_server: %s\n%s", error.what(), kServerUsage);
        return 2;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "lab_server: %s\n", error.what());
        return 1;
    }
}

}  // namespace

}  // namespace orv::lab

int main(int count, char** arguments) {
    return orv::lab::Main(count, arguments);
}
