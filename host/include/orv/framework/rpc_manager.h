// Requests to ports, their responses, and notifications from ports.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "orv/common/delegate.h"
#include "orv/framework/messenger.h"

namespace orv::tm {
class Message;
}

namespace orv::framework {

class ITransport;
using tm::Message;

/// (sequence number, the message, the context given with the request or the registration). Called under the
/// task lock. A request that is not answered in time, or whose connection breaks, is answered by a fault made
/// here. The message is valid until the delegate returns.
using ResponseDelegate = common::Delegate<void(std::uint16_t, Message*, void*)>;

/// One fault answer, or one message that could not be read.
struct ErrorMsg {
    std::uint32_t msg_seq_num = 0;
    std::string messenger_string;
    int fault_code = 0;
    std::string fault_string;
};

/// Fault codes of faults that the RPC manager makes itself.
enum RpcFaultCode : int {
    kFaultTimeout = -1,
    kFaultConnectionLost = -2,
    kFaultUnreadable = -3,      ///< only on the error list: the request that it answers is unknown
    kFaultDelegateFailed = -4,  ///< only on the error list: the delegate threw
    kFaultMissing = -5,         ///< only on the error list: notifications have not arrived, by their numbers
};

/// How often a notification may arrive. The default passes every one.
class NotificationRatePolicy {
  public:
    static NotificationRatePolicy GetDefaultPolicy() { return {}; }
};

/// All operations are called under the task lock.
class CRpcManager {
  public:
    static CRpcManager& Instance();

    /// Connects a messenger through the transport; closes and replaces an earlier one (whose outstanding
    /// requests end in faults).
    void Connect(const Messenger& messenger, std::unique_ptr<ITransport> transport);
    /// Closes the connection; outstanding requests end in faults before it returns, registrations end
    /// quietly.
    void Disconnect(const Messenger& messenger);
    bool IsConnected(const Messenger& messenger) const;
    /// Closes every connection; outstanding requests are dropped without calling their delegates.
    void Reset();

    /// Numbers the message, sends it and remembers `delegate` (copied; null: the answer is ignored)
    /// for its answer. `timeoutMs` 0 means the default of 30 s. `reportFaults`: a fault answer goes onto the
    /// error list of Wait. Returns 0, or a negative number when nothing was sent (no connection, or the
    /// message cannot be encoded).
    int SendAsyncMessage(const Messenger& messenger, Message& message, const ResponseDelegate* delegate,
                         void* context = nullptr, std::uint32_t timeoutMs = 0, bool reportFaults = true);

    /// Sends a registration request and from then on passes every notification of that name from that port to
    /// the delegate, and acknowledges it. A fault of the port's own as the answer to the
    /// request goes to the delegate, too: the port will not notify. Returns 0 or a negative number as
    /// SendAsyncMessage; the id serves to deregister.
    int RegisterForNotification(const Messenger& messenger, Message& message, const std::string& name,
                                const ResponseDelegate& delegate, void* context, int* registrationId,
                                NotificationRatePolicy policy = NotificationRatePolicy::GetDefaultPolicy());
    /// Ends a registration at once and sends the deregistration request. Non-zero for an unknown id or a
    /// failed send.
    int DeregisterForNotification(const Messenger& messenger, Message& message, int registrationId);

    /// Returns once every outstanding request has been answered (or has timed out) and its delegate has run;
    /// yields meanwhile. Hands over the errors gathered since the last call.
    void Wait(std::vector<ErrorMsg>& errors);

    /// Hands over the errors gathered so far without waiting.
    void TakeErrors(std::vector<ErrorMsg>& errors);

  private:
    CRpcManager();
    ~CRpcManager();
    struct Impl;
    std::shared_ptr<Impl> impl_;
};

}  // namespace orv::framework
