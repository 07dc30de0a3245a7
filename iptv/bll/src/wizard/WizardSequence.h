// The command sequence of a wizard's test.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "wizard/WizardObjects.h"

namespace orv::iptv {

class CIptvStartTestCommand;
class CIptvWizardTestConfig;

/// Handles of the protocol blocks that give the project's hosts their addresses or sessions.
struct BindingDevices {
    std::vector<std::uint32_t> dhcpv4;
    std::vector<std::uint32_t> dhcpv6;
    std::vector<std::uint32_t> l2tp;  ///< the wizard sets up no tunnels
    std::vector<std::uint32_t> pppox;
};

/// Creates all commands before it gives them to the sequencer. Commands not handed over are destroyed with
/// it.
class WizardSequence {
  public:
    WizardSequence(const core::CProject& project, const CIptvWizardTestConfig& config)
        : project_(project), config_(config) {}

    /// Creates all commands. Throws COrvRunTimeError if one cannot be created or an object that they use is
    /// missing.
    void Build();
    /// Replaces the sequencer's commands.
    void HandOver();

  private:
    /// A property of a command, and its value as text.
    struct Input {
        const char* name;
        std::string text;
    };

    BindingDevices GetBindingDevices() const;
    const CIptvStartTestCommand& FindStartTestCommand() const;
    std::vector<std::uint32_t> GetGenerators() const;
    std::vector<std::uint32_t> GetAnalyzers() const;
    std::vector<std::uint32_t> GetStreamBlocks() const;

    /// Creates a command, and returns its handle.
    std::uint32_t Make(const std::string& class_name, const std::vector<Input>& inputs = {});
    void Append(const std::string& class_name, const std::vector<Input>& inputs = {});
    /// These functions return the number of appended commands.
    std::size_t BindWaitDevices(const BindingDevices& devices);
    std::size_t ReleaseWaitDevices(const BindingDevices& devices);
    std::size_t AppendForBlocks(const BindingDevices& devices, const char* const (&commands)[4],
                                const char* const (&waits)[4]);

    const core::CProject& project_;
    const CIptvWizardTestConfig& config_;
    std::vector<std::uint32_t> list_;    ///< the sequence
    std::vector<OwnedScriptable> made_;  ///< commands without parent
};

}  // namespace orv::iptv
