// Network interfaces of a test's own.
#pragma once

#include <string>

namespace testing_aids {

/// Starts the program anew in a network namespace of its own; that one goes on, and has no network but what
/// it makes. Comes back here only when there is none to be had.
void EnterOwnNetwork(char** arguments);
/// Why this is no network of its own; "" when it is one.
std::string WhyNoOwnNetwork();

/// Two interfaces, connected with each other and up, on which the kernel sends nothing.
class VethPair {
  public:
    VethPair();
    ~VethPair();
    VethPair(const VethPair&) = delete;
    VethPair& operator=(const VethPair&) = delete;

    std::string near = "orvnear", far = "orvfar";
};

/// "up" or "down".
void SetInterface(const std::string& interface, const std::string& state);
/// Limits the output to 5 Mbit/s and queues the rest.
void MakeNarrow(const std::string& interface);
/// Of the cable: "UP", "LOWERLAYERDOWN". The kernel notices a little later.
void WaitForState(const std::string& interface, const std::string& state);

}  // namespace testing_aids
