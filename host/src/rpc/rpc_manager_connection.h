// What the RPC manager knows of one messenger.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "orv/framework/notification_numbers.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/transport.h"

namespace orv::framework {

/// A request that waits for its answer.
struct PendingRequest {
    std::uint16_t seq_no = 0;
    std::string request_name;
    ResponseDelegate delegate;  ///< empty: the answer is ignored
    void* context = nullptr;
    bool report_faults = true;
    int registration = 0;      ///< what it registers, not 0: a fault goes to that registration's delegate
    std::uint64_t serial = 0;  ///< never used again, other than the sequence number
    std::uint64_t timer = 0;
};

/// One connection from Connect to its end. Messages under way hold it weakly, so that none outlives it.
class RpcConnection {
  public:
    RpcConnection(Messenger messenger, std::unique_ptr<ITransport> transport);

    const Messenger& GetMessenger() const { return messenger_; }
    ITransport& GetTransport() const { return *transport_; }
    bool IsOpen() const { return open_; }
    /// Ends it. The transport is destroyed later: this may be called from within one of its callbacks.
    void Close();

    /// A sequence number that no pending request has, in ascending order, 1 to 65535; 0 when all are in use.
    std::uint16_t NextSeqNo();
    void Add(PendingRequest request);
    /// Takes a request out; nothing when there is none of that number.
    std::optional<PendingRequest> Take(std::uint32_t seq_no);
    /// The same, if it still is the request of that serial number.
    std::optional<PendingRequest> TakeSerial(std::uint16_t seq_no, std::uint64_t serial);
    /// Takes all, in the order in which they were sent.
    std::vector<PendingRequest> TakeAll();
    std::size_t GetPendingCount() const { return pending_.size(); }

    NotificationNumbers& GetNotificationNumbers() { return notification_numbers_; }

  private:
    Messenger messenger_;
    std::shared_ptr<ITransport> transport_;
    bool open_ = true;
    std::uint16_t last_seq_no_ = 0;
    std::map<std::uint16_t, PendingRequest> pending_;
    NotificationNumbers notification_numbers_;
};

}  // namespace orv::framework
