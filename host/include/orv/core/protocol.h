// A protocol that a plug-in adds to the host.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <vector>

#include "orv/common/ids.h"

namespace orv::framework {
class CScriptable;
}

namespace orv::core {

using framework::CScriptable;

/// Base of protocols: one object per process, registered with CProtocolModule. The host starts protocols by
/// priority, categories first, and asks them which configuration objects they manage.
class CProtocol {
  public:
    /// A control message of the host to all protocols.
    struct ControlMessage {
        std::string name;
        std::string argument;
    };
    struct FlapEvent {
        std::string name;
        std::uint32_t count = 0;
    };

    virtual ~CProtocol();
    virtual int GetId() const = 0;
    virtual std::string GetName() const = 0;
    virtual std::string GetCategory() const = 0;
    virtual int GetCategoryStartPriority() const = 0;
    virtual int GetProtocolStartPriority() const = 0;
    virtual void ProcessControlMessage(const ControlMessage* message,
                                       const std::vector<std::uint32_t>& handles) = 0;
    /// Appends the handles of the configuration objects that the protocol manages.
    virtual void GetManagedProtocolConfig(std::vector<std::uint32_t>& handles) = 0;
    virtual std::vector<common::ClassId> GetManagedProtocolConfigType() const = 0;
    virtual void ClearResult() = 0;
    virtual void StartStopProtocol(bool start);
    virtual void StartStopProtocol(bool start, const std::vector<std::uint32_t>& ports);
    virtual void StartStopProtocolConfigs(bool start, const std::vector<std::uint32_t>& configs);
    virtual int EstablishProtocol(std::list<CScriptable*>& configs);
    virtual int AdvertiseProtocol(std::list<CScriptable*>& configs);
    /// Layers of the OSI model (ISO/IEC 7498-1) that the protocol sends on and works on.
    virtual int GetProtocolTransmitOSILayer() = 0;
    virtual int GetProtocolOperationOSILayer() = 0;
    virtual int GetFlapEvents(std::vector<FlapEvent>& events);
    virtual void ConfigureFlapCommands(const std::vector<std::uint32_t>& commands);
    virtual void GetFlappableObjectClassIds(std::vector<int>& ids) const = 0;
};

class CProtocolModule {
  public:
    static CProtocolModule& Instance();

    /// The protocol is the caller's. A second protocol with the same id or name throws COrvLogicError naming
    /// both.
    void RegisterProtocol(CProtocol* protocol);
    /// In the order in which the host starts them: by category priority, then protocol priority.
    std::vector<CProtocol*> GetProtocols() const;
    CProtocol* FindProtocol(const std::string& name) const;

  private:
    std::vector<CProtocol*> protocols_;
};

}  // namespace orv::core
