#include "own_network.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace testing_aids {

namespace {

constexpr const char* kMark = "ORV_TEST_OWN_NETWORK";

void run(const std::string& command) {
    if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
}

}  // namespace

void EnterOwnNetwork(char** arguments) {
    if (std::getenv(kMark)) return;
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    // Users other than root need a user namespace around it.
    for (const char* how : {"-n", "-Urn"}) {
        const std::string trial =
            std::string("unshare ") + how + " ip link add orvnear type veth peer name orvfar 2>/dev/null";
        if (std::system(trial.c_str()) != 0) continue;
        ::setenv(kMark, "1", 1);
        std::vector<const char*> command{"unshare", how, program.c_str()};
        do {
            command.push_back(*++arguments);
        } while (*arguments);
        ::execvp(command[0], const_cast<char**>(command.data()));
    }
}

std::string WhyNoOwnNetwork() {
    return std::getenv(kMark) ? ""
                              : "no network namespace with a pair of virtual interfaces can be made here";
}

VethPair::VethPair() {
    // Otherwise it announces addresses of its own.
    std::ofstream("/proc/sys/net/ipv6/conf/default/disable_ipv6") << 1;
    run("ip link add " + near + " type veth peer name " + far);
    SetInterface(near, "up");
    SetInterface(far, "up");
    WaitForState(near, "UP");
}

VethPair::~VethPair() {
    [[maybe_unused]] const int done = std::system(("ip link del " + near).c_str());
}

void WaitForState(const std::string& interface, const std::string& state) {
    const std::string look = "ip link show " + interface + " | grep -q 'state " + state + "'";
    for (int tries = 0; std::system(look.c_str()) != 0 && tries < 1000; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

void SetInterface(const std::string& interface, const std::string& state) {
    run("ip link set " + interface + " " + state);
}

void MakeNarrow(const std::string& interface) {
    run("tc qdisc add dev " + interface + " root tbf rate 5mbit burst 3000 limit 1000000");
}

}  // namespace testing_aids
