#include "rpc_manager_connection.h"

#include <algorithm>
#include <utility>

#include "orv/framework/task_manager.h"

namespace orv::framework {

RpcConnection::RpcConnection(Messenger messenger, std::unique_ptr<ITransport> transport)
    : messenger_(std::move(messenger)), transport_(std::move(transport)) {}

void RpcConnection::Close() {
    if (!std::exchange(open_, false)) return;
    transport_->Close();
    CTaskManager::Instance().PostAfter({}, [transport = transport_] {});
}

std::uint16_t RpcConnection::NextSeqNo() {
    if (pending_.size() >= 0xffff) return 0;
    do {
        if (++last_seq_no_ == 0) last_seq_no_ = 1;
    } while (pending_.contains(last_seq_no_));
    return last_seq_no_;
}

void RpcConnection::Add(PendingRequest request) {
    const std::uint16_t seq_no = request.seq_no;
    pending_.emplace(seq_no, std::move(request));
}

std::optional<PendingRequest> RpcConnection::Take(std::uint32_t seq_no) {
    if (seq_no > 0xffff) return std::nullopt;
    auto node = pending_.extract(static_cast<std::uint16_t>(seq_no));
    if (node.empty()) return std::nullopt;
    CTaskManager::Instance().CancelTimer(node.mapped().timer);
    return std::move(node.mapped());
}

std::optional<PendingRequest> RpcConnection::TakeSerial(std::uint16_t seq_no, std::uint64_t serial) {
    const auto found = pending_.find(seq_no);
    if (found == pending_.end() || found->second.serial != serial) return std::nullopt;
    return Take(seq_no);
}

std::vector<PendingRequest> RpcConnection::TakeAll() {
    std::vector<PendingRequest> all;
    all.reserve(pending_.size());
    for (auto& [seq_no, request] : pending_) {
        CTaskManager::Instance().CancelTimer(request.timer);
        all.push_back(std::move(request));
    }
    pending_.clear();
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.serial < b.serial; });
    return all;
}

}  // namespace orv::framework
