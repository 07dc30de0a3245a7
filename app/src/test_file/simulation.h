// The section "simulation" of a test file: what the network and the software ports do.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "orv/il/faults.h"
#include "orv/il/network.h"
#include "source_tree.h"

namespace orv::app {

/// Limit of delays of the network and of faults, in milliseconds: 11.6 days.
inline constexpr std::uint32_t kLongestDelayMs = 1'000'000'000;

/// The members of a behaviour that a part of the section sets; the others stay as they are.
struct BehaviourChange {
    std::vector<std::pair<il::Distribution il::NetworkBehaviour::*, il::Distribution>> delays;
    std::vector<std::pair<double il::NetworkBehaviour::*, double>> numbers;

    il::NetworkBehaviour ApplyTo(il::NetworkBehaviour behaviour) const {
        for (const auto& [member, value] : delays) behaviour.*member = value;
        for (const auto& [member, value] : numbers) behaviour.*member = value;
        return behaviour;
    }
};

struct Simulation {
    std::uint64_t seed = 1;
    il::NetworkBehaviour defaults;
    /// By name of the port; missing keys are as in `defaults`.
    std::map<std::string, il::NetworkBehaviour> ports;
    /// By name of the channel block; missing keys are as for the port.
    std::map<std::string, BehaviourChange> channel_blocks;
    /// By name of the port.
    std::map<std::string, il::FaultSchedule> faults;
};

/// Objects of the file that the section names.
struct SimulatedNames {
    std::vector<std::string> ports;
    std::vector<std::string> channel_blocks;
};

/// Reads the section; mistakes go to the list.
Simulation ReadSimulation(const SourceNode& node, const SimulatedNames& names, MistakeList& mistakes);

// The vocabulary of the section, which its JSON schema has in common with its reader.

struct DelayMember {
    const char* name;
    il::Distribution il::NetworkBehaviour::*member;
    const char* doc;
};
struct NumberMember {
    enum class Kind { Fraction, Positive };
    const char* name;
    double il::NetworkBehaviour::*member;
    Kind kind;
    const char* doc;
    double most = 1;
};
struct DistributionForm {
    const char* name;
    il::Distribution::Kind kind;
    const char* parameters;  ///< as shown to users
};
struct FaultForm {
    const char* name;
    il::Fault::Kind kind;
    const char* doc;
    bool takes_request = false;
    bool takes_delay = false;  ///< and requires it
};
const std::vector<DelayMember>& GetDelayMembers();
const std::vector<NumberMember>& GetNumberMembers();
const std::vector<DistributionForm>& GetDistributionForms();
const std::vector<FaultForm>& GetFaultForms();

}  // namespace orv::app
