// What the hardware of a port is capable of.
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <tuple>
#include <variant>

namespace orv::core {

/// Says whose capability is looked up: a service ("GA": generators and analyzers) on a port.
struct RcmKey {
    std::string service;
    std::string location;  ///< of the port; empty for what holds for all ports
};

class RcmKeyMgr {
  public:
    /// Forms the key of a port under a service. False, with an empty location, when the handle names no port.
    static bool GetLookupKey(std::uint32_t portHandle, const std::string& service, RcmKey& key);
};

using RcmValue = std::variant<bool, std::int64_t, double, std::string>;

/// The capability database: values by service, port and name. Used under the task lock.
class RcmDBMgr {
  public:
    static RcmDBMgr& Instance();

    /// The value for the key's port, or else the one that holds for all ports; nothing when there is neither.
    std::optional<RcmValue> GetDBValue(const RcmKey& key, const std::string& name) const;
    /// Replaces the value if there is one.
    void SetDBValue(const RcmKey& key, const std::string& name, RcmValue value);
    void Clear() { values_.clear(); }

    /// Reads values from a YAML file: a list of {service, location (optional), values: {name: value, ...}}. A
    /// value is true or false, a whole number, a number, or else a text. Throws COrvRunTimeError with
    /// "<file>:<line>: <what is wrong>"; no value of the file is taken then.
    void Load(const std::filesystem::path& file);

  private:
    using Place = std::tuple<std::string, std::string, std::string>;  ///< service, location, name
    std::map<Place, RcmValue> values_;
};

}  // namespace orv::core
