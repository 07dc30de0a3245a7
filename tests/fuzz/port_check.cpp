#include <stdexcept>

#include "fuzz/any_message.h"
#include "fuzz/checks.h"
#include "nic/emulated_network.h"

namespace testing_aids {

namespace {

constexpr unsigned kMostMessages = 24;

/// Any messages, those of a test among them, with a little time after each. Then a good test runs.
void check_port(Peer& peer, ByteReader& reader) {
    for (unsigned left = kMostMessages; left > 0 && !reader.IsAtEnd(); --left) {
        std::vector<std::byte> bytes;
        VisitMessage(reader.Take(), [&]<class Create, class... Values>(
                                        const char* name, Create create,
                                        void (*)(const orv::tm::Message*, Values*...)) {
            Carried<Values...> carried;
            carried.fill(reader.Take());
            orv::tm::Message message;
            carried.create(create, &message);
            // These have the name of the set that offers them.
            const std::string_view of_interfaces = "IFSETUP_1.", entry = name;
            if (entry.starts_with(of_interfaces)) {
                const auto operation = entry.substr(of_interfaces.size());
                message.set_request_name("iptvcd_1." + std::string(operation.substr(0, operation.find(' '))));
            }
            bytes = message.encode();
        });
        ChangeBytes(bytes, reader);
        peer.port->Receive(bytes);
        peer.timeline.RunTo(peer.timeline.GetNow() + milliseconds(4 * reader.Take()));
    }
    peer.end_times.clear();
    peer.FaultOf(iptvcd_1_bll::create_req_Reset);
    peer.FaultOf(iptvcd_1_bll::create_req_Stop);
}

void check_test(Peer& peer) {
    const auto then = peer.timeline.GetNow();
    peer.timeline.RunTo(then + std::chrono::seconds(30));  // a test that was ending
    peer.end_times.clear();
    peer.events.clear();
    peer.Configure();
    if (!peer.StartAgain().empty()) throw std::logic_error("a good test is refused");
    peer.timeline.RunTo(peer.timeline.GetNow() + std::chrono::seconds(15));
    if (peer.end_times.size() != 1) throw std::logic_error("a good test did not end");
    if (peer.events.empty()) throw std::logic_error("a good test reports nothing");
}

}  // namespace

void check_port_bytes(std::span<const std::byte> bytes) {
    ByteReader reader(bytes);
    Scenario scenario;
    scenario.test.test_duration = 3'000;
    const unsigned choice = reader.Take();
    // The good test takes ten times as long as the messages.
    const bool runs_test = choice / 2 % 8 == 0;
    if (choice % 2 == 0) {
        Peer peer(scenario);
        check_port(peer, reader);
        if (runs_test) check_test(peer);
    } else {
        LiveScenario live({host_of(0), host_of(1, {})});
        live.peer.scenario.test.test_duration = 3'000;
        live.Configure();
        check_port(live.peer, reader);
        if (!runs_test) return;
        live.Configure();
        check_test(live.peer);
    }
}

}  // namespace testing_aids
