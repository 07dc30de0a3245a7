#include "live/slaac_network.h"

#include <fmt/format.h>

#include <algorithm>
#include <sstream>

#include "live/sample_frames.h"

namespace testing_aids {

using namespace orv::live;

namespace {

const MacAddress kSlaacMac{{0x02, 0x00, 0x00, 0x00, 0x0a, 0x01}};

IpAddress own_address(const std::string& letter) {
    return ip("2001:db8:" + letter + "::ff:fe00:a01");
}

std::string letter_of(const IpAddress& address) {
    if (address == own_address("a")) return "a";
    return address == own_address("b") ? "b" : address.ToString();
}

AdvertisedPrefix prefix_of(std::string text) {
    std::ranges::replace(text, '=', ' ');
    std::istringstream fields(text);
    std::string name, flags;
    AdvertisedPrefix prefix;
    prefix.length = 64;
    fields >> name >> flags >> prefix.valid >> prefix.preferred;
    if (const auto slash = name.find('/'); slash != name.npos) {
        prefix.length = static_cast<std::uint8_t>(std::stoi(name.substr(slash + 1)));
        name.resize(slash);
    }
    prefix.prefix = ip(name.size() == 1 ? "2001:db8:" + name + "::" : name);
    prefix.is_on_link = flags[0] == 'L';
    prefix.is_autonomous = flags.back() == 'A';
    return prefix;
}

RouterAdvertisement advertisement_of(const std::string& step) {
    std::istringstream words(step);
    std::string word, router;
    RouterAdvertisement message;
    words >> word >> router >> message.lifetime;
    message.router = ip("fe80::" + router);
    while (words >> word) {
        if (word == "M") message.is_managed = true;
        if (word.starts_with("mac"))
            message.mac = {{static_cast<std::uint8_t>(word[3] - '0'), 0, 0, 0, 0, 1}};
        if (word.find('=') != word.npos) message.prefix_table.at(message.prefix_count++) = prefix_of(word);
    }
    return message;
}

std::string state_of(const SlaacClient& client) {
    static constexpr const char* kStates[] = {"idle", "binding", "bound", "releasing", "failed"};
    const std::string text = kStates[static_cast<int>(client.GetState())];
    const auto& given = client.GetGiven();
    if (!given) return text;
    return text + fmt::format(" {}/{} {} {}", letter_of(given->address), given->prefix_length,
                              given->gateway.ToString(),
                              std::chrono::floor<std::chrono::seconds>(given->valid_until).count());
}

std::string text_of_question(std::span<const std::byte> frame) {
    const auto parsed = ParseFrame(frame);
    return parsed ? "probe " + letter_of(std::get<NeighborSolicitation>(parsed->content).target) : "ask";
}

}  // namespace

SlaacNetwork::SlaacNetwork(const SlaacClient::Settings& settings, std::uint64_t seed)
    : client({kSlaacMac, {}, {}}, std::make_shared<const SlaacClient::Settings>(settings),
             {.timeline = timeline,
              .seed = seed,
              .send =
                  [this](std::span<const std::byte> frame) {
                      sent.emplace_back(timeline.GetNow(), std::vector(frame.begin(), frame.end()));
                      said_ += (said_.empty() ? "" : "; ") + text_of_question(frame);
                  },
              .changed = [this] { ++changes; }}) {}

std::string SlaacNetwork::play(std::string_view script) {
    std::string told;
    std::istringstream steps{std::string(script)};
    for (std::string step; std::getline(steps >> std::ws, step, ',');) {
        if (step == "bind") {
            client.Bind();
        } else if (step == "release") {
            client.Release();
        } else if (step.starts_with("ra ")) {
            client.OnRouterAdvertisement(advertisement_of(step));
        } else if (step[0] == 'u' || step[0] == 'm') {
            client.OnAddressUsed(own_address(step.substr(5)), step[0] == 'm' ? kSlaacMac : MacAddress{{2}});
        } else {
            const std::chrono::duration<double> time(std::stod(step));
            timeline.RunTo(timeline.GetNow() + std::chrono::round<orv::il::Nanoseconds>(time));
            told += (told.empty() ? "" : " | ") + said_ + (said_.empty() ? "" : " ") + "[" +
                    state_of(client) + "]";
            said_.clear();
        }
    }
    return told;
}

}  // namespace testing_aids
