#include "orv/il/port_core.h"

#include <set>
#include <utility>

#include "connection.h"
#include "fault_injector.h"
#include "orv/il/random.h"
#include "orv/tm/message.h"
#include "request_table.h"
#include "run_control.h"

namespace orv::il {

namespace {

constexpr std::uint64_t kSpoilPurpose = 3;

const RequestTable& request_table() {
    static const RequestTable table = [] {
        RequestTable made;
        add_configuration_requests(made);
        add_run_requests(made);
        add_interface_requests(made);
        add_general_requests(made);
        add_address_requests(made);
        return made;
    }();
    return table;
}

/// The name without the message set.
std::string operation_of(const std::string& request_name) {
    return request_name.substr(request_name.find('.') + 1);
}

void make_fault(tm::Message& answer, FaultCode code, const std::string& text) {
    answer.clear(tm::TMG_MEMBERS);
    answer.set_msg_type(tm::TMT_FAULT);
    answer.set_fault(static_cast<int>(code), text);
}

tm::Message answer_for(const tm::Message& request) {
    tm::Message answer;
    answer.set_request_name(request.get_request_name());
    answer.header().set_seq_no(request.header().get_seq_no());
    return answer;
}

tm::Message refusal_of(const tm::Message& request) {
    tm::Message answer = answer_for(request);
    make_fault(answer, FaultCode::OnPurpose, request.get_request_name() + " was refused on purpose");
    return answer;
}

}  // namespace

const std::vector<std::string>& GetRequestNames() {
    static const std::vector<std::string> names = [] {
        std::set<std::string> operations;
        for (const auto& [name, handler] : request_table()) operations.insert(operation_of(name));
        return std::vector<std::string>(operations.begin(), operations.end());
    }();
    return names;
}

struct PortCore::Impl {
    Impl(const std::string& name, FaultSchedule schedule, std::uint64_t seed, World& world,
         ITimeline& timeline, ISoftwarePort::Send send, ISoftwarePort::HangUp hang_up, RunPool* pool)
        : faults(std::move(schedule)),
          connection(faults, timeline, seed_of(seed, name, kSpoilPurpose), std::move(send),
                     std::move(hang_up)),
          control(world, timeline, faults, connection, pool),
          addressing(world.addressing()) {}

    tm::Message answer_to(const tm::Message& request);

    PortConfiguration configuration;
    FaultInjector faults;
    Connection connection;
    RunControl control;
    AddressSessions* const addressing;
};

PortCore::PortCore(const std::string& name, FaultSchedule faults, std::uint64_t seed, World& world,
                   ITimeline& timeline, ISoftwarePort::Send send, ISoftwarePort::HangUp hang_up,
                   RunPool* pool)
    : impl_(std::make_unique<Impl>(name, std::move(faults), seed, world, timeline, std::move(send),
                                   std::move(hang_up), pool)) {}

PortCore::~PortCore() = default;

void PortCore::channels_change(const std::function<void()>& change) {
    impl_->control.channels_change(change);
}

const PortConfiguration& PortCore::configuration() const {
    return impl_->configuration;
}

void PortCore::receive(const std::vector<std::byte>& bytes) {
    if (!impl_->connection.is_open()) return;
    tm::Message request;
    try {
        request = tm::Message::decode(std::vector<std::byte>(bytes));
    } catch (const tm::Tm_exception&) {
        return;  // it cannot be answered without its number
    }
    // Acknowledgements of notifications are ignored.
    if (request.get_msg_type() != tm::TMT_REQUEST) return;
    const std::string operation = operation_of(request.get_request_name());
    const FaultInjector::OnRequest fault = impl_->faults.on_request(operation);
    if (fault.go_offline) {
        impl_->control.abandon();
        return impl_->connection.hang_up("the port went offline at " + operation);
    }
    const tm::Message answer = fault.refuse ? refusal_of(request) : impl_->answer_to(request);
    if (!fault.lose_response)
        impl_->connection.send_answer(answer, fault.repeat_response ? 2 : 1, fault.delay_ms);
}

tm::Message PortCore::Impl::answer_to(const tm::Message& request) {
    tm::Message answer = answer_for(request);
    const std::string& name = request.get_request_name();
    const auto handler = request_table().find(name);
    if (handler == request_table().end()) {
        make_fault(answer, FaultCode::UnknownRequest, "no such request: " + tm::quoted(name));
        return answer;
    }
    try {
        PortState state{configuration, control, addressing};
        handler->second(state, request, answer);
    } catch (const PortFault& refused) {
        make_fault(answer, refused.code(), name + ": " + refused.what());
    } catch (const tm::Tm_exception& malformed) {
        make_fault(answer, FaultCode::Malformed, name + ": " + malformed.what());
    } catch (const std::exception& error) {
        make_fault(answer, FaultCode::Internal, name + ": " + error.what());
    }
    return answer;
}

}  // namespace orv::il
