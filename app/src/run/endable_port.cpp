#include "endable_port.h"

#include <utility>

namespace orv::app {

namespace {

struct Registry {
    std::mutex mutex;
    std::vector<EndablePort*> ports;
};

/// Never destroyed: the thread that ends the process may still use it.
Registry& GetRegistry() {
    static Registry& registry = *new Registry;
    return registry;
}

}  // namespace

EndablePort::EndablePort(std::unique_ptr<nic::LivePort> port) : port_(std::move(port)) {
    const std::lock_guard lock(GetRegistry().mutex);
    GetRegistry().ports.push_back(this);
}

EndablePort::~EndablePort() {
    const std::lock_guard lock(GetRegistry().mutex);
    std::erase(GetRegistry().ports, this);
}

void EndablePort::Receive(const std::vector<std::byte>& bytes) {
    const std::lock_guard lock(mutex_);
    if (port_) port_->Receive(bytes);
}

std::future<void> EndablePort::SetStreams(std::vector<nic::Stream> streams) {
    const std::lock_guard lock(mutex_);
    return port_ ? port_->SetStreams(std::move(streams)) : std::future<void>();
}

nic::LiveFigures EndablePort::GetFigures() const {
    const std::lock_guard lock(mutex_);
    return port_ ? port_->GetFigures() : last_;
}

void EndablePort::End() {
    const std::lock_guard lock(mutex_);
    if (!port_) return;
    last_ = port_->GetFigures();
    port_.reset();
}

void EndablePort::EndAll() {
    const std::lock_guard lock(GetRegistry().mutex);
    for (EndablePort* port : GetRegistry().ports) port->End();
}

}  // namespace orv::app
