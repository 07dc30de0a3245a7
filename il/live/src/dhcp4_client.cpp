// How a host asks for an address, and what it sends. What it does with one is in dhcp4_lease.cpp.
#include "orv/live/dhcp4_client.h"

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>

#include "bytes.h"
#include "dhcp4_fields.h"
#include "headers.h"
#include "orv/live/frame.h"

namespace orv::live {
namespace dhcp4 {
namespace {

constexpr MacAddress kEverybody{{0xff, 0xff, 0xff, 0xff, 0xff, 0xff}};
constexpr IpAddress kLimitedBroadcast = IpAddress::V4(0xffffffff);

void check_options(const Dhcp4Client::Identity& identity, const Dhcp4Client::Settings& settings) {
    std::array<bool, 256> seen{};
    for (const auto* options : {&settings.options, &identity.options})
        for (const Dhcp4Option& option : *options) {
            require(IsFreeDhcp4Option(option) && !seen[option.code],
                    "a DHCP option is there twice, empty, or one that the client sets itself");
            seen[option.code] = true;
        }
    constexpr IpAddress kLongest = IpAddress::V4(0x01010101);
    std::array<std::byte, kMaxDhcp4Message> out;
    try {
        WriteDhcp4Request(out, {.requested = kLongest,
                                .server = kLongest,
                                .lease_seconds = settings.lease_seconds,
                                .rapid_commit = settings.rapid_commit,
                                .parameters = settings.parameters,
                                .shared_options = settings.options,
                                .own_options = identity.options});
    } catch (const std::length_error&) {
        throw std::invalid_argument("the DHCP options are too long for a message");
    }
}

void check(const Dhcp4Client::Settings& settings) {
    require(settings.first_delay.count() > 0 && settings.first_delay <= settings.longest_delay,
            "the first delay of a DHCP client is 0 or above the longest");
    require(settings.request_attempts > 0, "a DHCP client sends no request");
    require(settings.probe.count() >= 0 && settings.conflict_pause.count() >= 0 &&
                settings.renewal_retry.count() >= 0,
            "a time of a DHCP client is below 0");
}

}  // namespace
}  // namespace dhcp4

Dhcp4Client::Dhcp4Client(Identity identity, std::shared_ptr<const Settings> settings,
                         Surroundings surroundings)
    : identity_(std::move(identity)),
      settings_(std::move(settings)),
      surroundings_(std::move(surroundings)),
      random_(surroundings_.seed) {
    Check(identity_, *settings_);
    identity_.host.ip = {};
}

void Dhcp4Client::Check(const Identity& identity, const Settings& settings) {
    dhcp4::check(settings);
    dhcp4::check_options(identity, settings);
}

Dhcp4Client::~Dhcp4Client() {
    stop_timer();
}

AddressClient::State Dhcp4Client::GetState() const {
    switch (phase_) {
        case Phase::Idle:
            return State::Idle;
        case Phase::Bound:
        case Phase::Renewing:
        case Phase::Rebinding:
            return State::Bound;
        case Phase::Failed:
            return State::Failed;
        default:
            return State::Binding;
    }
}

void Dhcp4Client::Bind() {
    if (phase_ != Phase::Idle && phase_ != Phase::Failed) return;
    failures_ = 0;
    failure_.clear();
    begin();
    tell_change();
}

void Dhcp4Client::OnDatagram(const IpAddress& source, const MacAddress& source_mac,
                             std::span<const std::byte> payload) {
    if (Dhcp4ClientOf(payload) != identity_.host.mac) return;
    std::optional<Dhcp4Answer> answer;
    if (is_waiting() && get32(&payload[dhcp4::kTransactionAt]) == transaction_)
        answer = ReadDhcp4Answer(payload);
    if (!answer || !is_expected(*answer)) {
        ++counts_.ignored;
        return;
    }
    ++counts_.received;
    if (answer->type == Dhcp4Type::Offer) {
        on_offer(*answer);
    } else if (answer->type == Dhcp4Type::Nak) {
        on_refusal(*answer);
    } else {
        on_acknowledgement(*answer, source, source_mac);
    }
    tell_change();
}

bool Dhcp4Client::is_waiting() const {
    return phase_ == Phase::Selecting || phase_ == Phase::Requesting || phase_ == Phase::Renewing ||
           phase_ == Phase::Rebinding;
}

bool Dhcp4Client::is_expected(const Dhcp4Answer& answer) const {
    if (answer.type == Dhcp4Type::Ack && answer.lease_seconds != kDhcp4Forever &&
        asked_ + std::chrono::seconds(answer.lease_seconds) <= surroundings_.timeline.GetNow())
        return false;  // the lease has run out on the way
    const bool is_servers = answer.server == lease_.server;
    switch (phase_) {
        case Phase::Selecting:
            return answer.type == Dhcp4Type::Offer ||
                   (answer.type == Dhcp4Type::Ack && answer.rapid_commit && settings_->rapid_commit);
        case Phase::Requesting:
            return answer.type != Dhcp4Type::Offer && is_servers;
        case Phase::Renewing:
            return answer.type == Dhcp4Type::Ack || (answer.type == Dhcp4Type::Nak && is_servers);
        case Phase::Rebinding:
            return answer.type != Dhcp4Type::Offer;
        default:
            return false;
    }
}

void Dhcp4Client::begin() {
    transaction_ = static_cast<std::uint32_t>(random_.next() >> 32);
    began_ = asked_ = surroundings_.timeline.GetNow();
    sent_times_ = 0;
    enter(Phase::Selecting);
    discover();
}

void Dhcp4Client::discover() {
    send_counted({.type = Dhcp4Type::Discover, .rapid_commit = settings_->rapid_commit});
    start_timer(delay_of(sent_times_));
}

void Dhcp4Client::on_offer(const Dhcp4Answer& answer) {
    lease_ = {.address = answer.address, .server = answer.server};
    asked_ = surroundings_.timeline.GetNow();
    sent_times_ = 0;
    enter(Phase::Requesting);
    request();
}

void Dhcp4Client::request() {
    send_counted({.type = Dhcp4Type::Request, .requested = lease_.address, .server = lease_.server});
    start_timer(delay_of(sent_times_));
}

void Dhcp4Client::on_silence() {
    if (phase_ == Phase::Selecting) {
        if (settings_->attempts != 0 && sent_times_ >= settings_->attempts)
            give_up("no DHCP server has answered");
        else
            discover();
    } else if (sent_times_ < settings_->request_attempts) {
        request();
    } else {
        fail_round("the DHCP server " + lease_.server.ToString() + " does not keep to its offer of " +
                       lease_.address.ToString(),
                   Nanoseconds(0));
    }
}

void Dhcp4Client::on_refusal(const Dhcp4Answer& answer) {
    ++counts_.refused;
    std::string why = "the DHCP server " + answer.server.ToString() + " refuses";
    if (!answer.message.empty()) why += ": " + answer.message;
    if (given_) {
        failure_ = why;
        lose();
    }
    // Without a pause, a server that always refuses would be asked without end.
    fail_round(std::move(why), delay_of(failures_ + 1));
}

void Dhcp4Client::fail_round(std::string why, Nanoseconds pause) {
    ++failures_;
    if (settings_->attempts != 0 && failures_ >= settings_->attempts) {
        give_up(std::move(why));
    } else {
        enter(Phase::Pausing);
        start_timer(pause);
    }
}

void Dhcp4Client::give_up(std::string why) {
    stop_timer();
    failure_ = std::move(why);
    enter(Phase::Failed);
}

/// A message that an answer is waited for. Repetitions have the transaction of the first.
void Dhcp4Client::send_counted(const Dhcp4Request& message, const IpAddress& server) {
    // A request after an offer says what the discover said (RFC 2131 section 3.1).
    if (phase_ != Phase::Requesting) {
        const auto passed =
            std::chrono::floor<std::chrono::seconds>(surroundings_.timeline.GetNow() - began_);
        seconds_ = static_cast<std::uint16_t>(std::min<std::int64_t>(passed.count(), UINT16_MAX));
    }
    if (sent_times_++ > 0) ++counts_.repeated;
    Dhcp4Request counted = message;
    counted.transaction = transaction_;
    counted.seconds = seconds_;
    // A host that has its address gets the answers there.
    counted.wants_broadcast = settings_->wants_broadcast && message.own.IsUnspecified();
    counted.lease_seconds = settings_->lease_seconds;
    counted.parameters = settings_->parameters;
    send(counted, server);
}

/// To the server, if there is one, otherwise to all.
void Dhcp4Client::send(Dhcp4Request message, const IpAddress& server) {
    message.mac = identity_.host.mac;
    message.shared_options = settings_->options;
    message.own_options = identity_.options;
    UdpFlow flow{.source = identity_.host,
                 .destination_mac = dhcp4::kEverybody,
                 .destination = dhcp4::kLimitedBroadcast,
                 .source_port = kDhcp4ClientPort,
                 .destination_port = kDhcp4ServerPort};
    flow.source.ip = message.own;
    if (!server.IsUnspecified()) {
        flow.destination = server;
        flow.destination_mac = lease_.server_mac;
    }
    std::array<std::byte, kMaxFrameLength> frame;
    const std::size_t length =
        WriteDhcp4Request(std::span(frame).subspan(UdpPayloadOffset(flow)).first(kMaxDhcp4Message), message);
    const std::size_t end = WriteUdpHeaders(frame, flow, length);
    ++counts_.sent;
    surroundings_.send(std::span(frame).first(end));
}

/// The doubled delay before the next message, with its random part (RFC 2131 section 4.1).
il::Nanoseconds Dhcp4Client::delay_of(std::uint32_t times) {
    Nanoseconds delay = settings_->first_delay;
    for (std::uint32_t i = 1; i < times && delay < settings_->longest_delay; ++i)
        delay = std::min(delay, settings_->longest_delay / 2) * 2;
    const Nanoseconds random_part =
        std::min<Nanoseconds>(settings_->first_delay / 4, std::chrono::seconds(1));
    const double offset = (2 * random_.fraction() - 1) * static_cast<double>(random_part.count());
    return delay + Nanoseconds(static_cast<std::int64_t>(offset));
}

void Dhcp4Client::start_timer(Nanoseconds delay) {
    stop_timer();
    timer_ = surroundings_.timeline.PostAfter(delay, [this] {
        timer_ = 0;
        on_timer();
        tell_change();
    });
}

void Dhcp4Client::stop_timer() {
    if (timer_ != 0) surroundings_.timeline.Cancel(timer_);
    timer_ = 0;
}

void Dhcp4Client::on_timer() {
    if (phase_ == Phase::Selecting || phase_ == Phase::Requesting) return on_silence();
    if (phase_ == Phase::Pausing) return begin();
    if (phase_ == Phase::Probing) return become_bound();
    on_renewal_time();
}

void Dhcp4Client::enter(Phase phase) {
    const State before = GetState();
    phase_ = phase;
    is_untold_ = is_untold_ || GetState() != before;
}

void Dhcp4Client::tell_change() {
    if (std::exchange(is_untold_, false) && surroundings_.changed) surroundings_.changed();
}

}  // namespace orv::live
