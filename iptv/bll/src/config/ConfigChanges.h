// Changes of the configuration that concern set-top boxes.
#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include "orv/framework/change_log.h"
#include "orv/framework/validation.h"

namespace orv::core {
class CEmulatedDevice;
}

namespace orv::iptv {

/// The configuration changes since a moment. Most changes concern a single device: the objects that its STB
/// blocks depend on are mostly at or below it, and other devices need not be examined. A change of an object
/// that many blocks share (channels, profiles, ports, the project) counts as a change of everything. Results,
/// commands and traffic are ignored.
class ConfigChanges {
  public:
    using Moment = framework::CChangeLog::Moment;

    static ConfigChanges Everything() { return ConfigChanges(true); }
    /// Changes later than the moment; 0: everything.
    static ConfigChanges Since(Moment moment);
    /// Notes that a block was moved to or from a port (a handle): the port counts as changed.
    static void NotePort(std::uint32_t port);

    bool IsEverything() const { return everything_; }
    /// Blocks of the port may be concerned.
    bool Concern(std::uint32_t port) const { return everything_ || ports_.contains(port); }
    /// The devices with changes, unless everything counts as changed.
    const std::vector<const core::CEmulatedDevice*>& GetDevices() const { return devices_; }

  private:
    explicit ConfigChanges(bool everything) : everything_(everything) {}
    void Add(const framework::CScriptable& object);
    void AddDevice(const core::CEmulatedDevice& device);

    bool everything_;
    std::unordered_set<std::uint32_t> ports_;  ///< handles
    std::vector<const core::CEmulatedDevice*> devices_;
    std::unordered_set<const core::CEmulatedDevice*> known_devices_;
};

/// The state of the configuration at one moment, to find later changes. Everything counts as changed if the
/// rules differ because a test of another type is being prepared.
class ConfigLook {
  public:
    /// Before all changes, so everything counts as changed.
    ConfigLook() = default;
    static ConfigLook Now();

    ConfigChanges GetChanges() const;
    ConfigChanges::Moment GetMoment() const { return moment_; }
    /// True if the rules of that moment still apply.
    bool HasSameRules() const;

  private:
    ConfigChanges::Moment moment_ = 0;
    bool fcc_check_ = false;
};

/// Remembers that a check found nothing to report, so that the next one can leave out what has not changed
/// since. While a test runs, and after a report or an exception, everything is checked.
class RepeatedCheck {
  public:
    template <class Check>
    void Run(const framework::ValidationContext& context, Check check) {
        const ConfigChanges changes = GetChanges();
        const ConfigLook now = ConfigLook::Now();
        const std::size_t before = CountReports(context);
        clean_ = {};  // also when the check throws
        check(changes);
        if (CountReports(context) == before) clean_ = now;
    }

  private:
    static std::size_t CountReports(const framework::ValidationContext& context) {
        return context.GetErrors().size() + context.GetWarnings().size();
    }
    ConfigChanges GetChanges() const;

    ConfigLook clean_;
};

}  // namespace orv::iptv
