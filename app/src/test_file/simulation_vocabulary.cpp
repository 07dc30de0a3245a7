// Names and meanings of what the simulation knows.
#include "simulation.h"

namespace orv::app {

using il::Fault;
using il::NetworkBehaviour;

const std::vector<DelayMember>& GetDelayMembers() {
    static const std::vector<DelayMember> members{
        {"join_delay", &NetworkBehaviour::join_delay, "From a join to the first multicast packet."},
        {"leave_delay", &NetworkBehaviour::leave_delay, "From a leave to the last multicast packet."},
        {"unicast_join_delay", &NetworkBehaviour::unicast_join_delay,
         "From a unicast request to the first packet of the burst."},
        {"unicast_leave_delay", &NetworkBehaviour::unicast_leave_delay,
         "From the end of a unicast request to the last packet of the burst."},
        {"retransmission_delay", &NetworkBehaviour::retransmission_delay,
         "From a retransmission request to the last retransmitted packet."},
        {"jitter", &NetworkBehaviour::jitter, "Added to the time of a first or last packet."},
        {"address_delay", &NetworkBehaviour::address_delay,
         "From a host's first message to the address that it is given."},
    };
    return members;
}

const std::vector<NumberMember>& GetNumberMembers() {
    using Kind = NumberMember::Kind;
    static const std::vector<NumberMember> members{
        {"packet_rate", &NetworkBehaviour::packet_rate, Kind::Positive, "Packets of a channel in a second.",
         1e7},
        {"burst_rate", &NetworkBehaviour::burst_rate, Kind::Positive,
         "Rate of a unicast burst, as a multiple of the channel's.", 1000},
        {"join_capacity", &NetworkBehaviour::join_capacity, Kind::Positive,
         "Joins of a port that are carried out in each second of a test; further ones bring nothing. Without "
         "it, all are.",
         1e9},
        {"join_failure", &NetworkBehaviour::join_failure, Kind::Fraction, "Joins that bring nothing."},
        {"address_failure", &NetworkBehaviour::address_failure, Kind::Fraction,
         "Hosts that ask for an address in vain."},
        {"loss", &NetworkBehaviour::loss, Kind::Fraction, "Packets that are lost."},
        {"reordering", &NetworkBehaviour::reordering, Kind::Fraction, "Packets that overtake another."},
        {"duplication", &NetworkBehaviour::duplication, Kind::Fraction, "Packets that come twice."},
        {"late", &NetworkBehaviour::late, Kind::Fraction, "Packets that come late."},
        {"payload_error", &NetworkBehaviour::payload_error, Kind::Fraction,
         "Packets whose payload is damaged."},
        {"retransmission_loss", &NetworkBehaviour::retransmission_loss, Kind::Fraction,
         "Retransmitted packets that are lost again."},
    };
    return members;
}

const std::vector<DistributionForm>& GetDistributionForms() {
    using Kind = il::Distribution::Kind;  // results have distributions, too
    static const std::vector<DistributionForm> forms{
        {"uniform", Kind::Uniform, "[least, most]"},
        {"normal", Kind::Normal, "[mean, standard deviation]"},
        {"exponential", Kind::Exponential, "[shift, mean]"},
    };
    return forms;
}

const std::vector<FaultForm>& GetFaultForms() {
    static const std::vector<FaultForm> forms{
        {"lose_response", Fault::Kind::LoseResponse, "The request is carried out, its response is not sent.",
         true},
        {"refuse", Fault::Kind::Refuse, "The request is answered with a fault and not carried out.", true},
        {"go_offline", Fault::Kind::GoOffline,
         "The connection ends, at a request or, without one, at a notification.", true},
        {"late_end_of_test", Fault::Kind::LateEndOfTest, "The end of the test is told delay_ms late.", false,
         true},
        {"repeat_end_of_test", Fault::Kind::RepeatEndOfTest, "The end of the test is told twice."},
        {"miss_end_of_test", Fault::Kind::MissEndOfTest, "The end of the test is not told."},
        {"spoil_notification", Fault::Kind::SpoilNotification, "Bytes of a result notification are changed."},
        {"late_response", Fault::Kind::LateResponse, "The response comes delay_ms late.", true, true},
        {"repeat_response", Fault::Kind::RepeatResponse, "The response comes twice.", true},
        {"lose_notification", Fault::Kind::LoseNotification, "A result notification is not sent."},
        {"late_notification", Fault::Kind::LateNotification,
         "A result notification is sent delay_ms late, behind others.", false, true},
        {"repeat_notification", Fault::Kind::RepeatNotification, "A result notification is sent twice."},
    };
    return forms;
}

}  // namespace orv::app
