// Writes the seeds of the fuzzers: every sample message, and each cut and damaged once; a frame, an
// RTCP datagram and a DHCPv4 answer of each kind.
#include <filesystem>
#include <fstream>
#include <iostream>

#include "agents/protocol/settings.h"
#include "agents/protocol/step.h"
#include "live/dhcp4_network.h"
#include "live/sample_rtcp.h"
#include "orv/bus/frame.h"
#include "tm/sample_messages.h"

namespace {

void write(const std::filesystem::path& file, const std::vector<std::byte>& bytes) {
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out.flush()) throw std::runtime_error("cannot write " + file.string());
}

/// Of what controllers and agents say; the first byte is the choice of check_agents_bytes().
void write_agents(const std::filesystem::path& folder) {
    using namespace orv::app;  // NOLINT
    using namespace std::chrono_literals;
    const auto save = [&folder](const char* name, char choice, const std::vector<std::byte>& rest) {
        std::vector<std::byte> bytes{static_cast<std::byte>(choice)};
        bytes.insert(bytes.end(), rest.begin(), rest.end());
        write(folder / name, bytes);
    };
    const auto save_text = [&save](const char* name, char choice, const std::string& text) {
        const auto bytes = std::as_bytes(std::span(text));
        save(name, choice, {bytes.begin(), bytes.end()});
    };
    const std::string session(32, 'a');
    save_text("request", 0,
              ToJson(ControlRequest{ControlRequest::Operation::Open, kAgentProtocol, "1", session}));
    ControlAnswer answer;
    answer.name = "lounge";
    answer.instance = session;
    answer.info = AgentInfo{"lounge", {{"eth1", 1e9, true}}, true, 0.5, "anna"};
    save_text("answer", 1, ToJson(answer));
    SessionSetup setup;
    setup.ports = {{"Viewers", "sim/1", {{}}}, {"Head end", "eth1"}};
    setup.network.groups.resize(1);
    save_text("setup", 2, ToJson(setup));
    save_text("configured", 3, ToJson(SessionAnswer{"", {0, 1e9}}));
    save_text("streams", 4, ToJson(std::vector<orv::nic::Stream>(2)));
    save_text("on_air", 5, ToJson(orv::il::StreamsOnAir::Paths()));
    save_text("figures", 6, ToJson(std::vector<orv::nic::LiveFigures>(2)));
    save("step", 7, Encode(Step{1, 5s, Step::Event::Timer, 7, std::vector<std::byte>(3)}));
    save("step_done", 8,
         Encode(StepDone{1, {{StepAction::Kind::Post, 7, 5s, {}}, {StepAction::Kind::HangUp}}}));
    save("acknowledgement", 9, encode(orv::bus::Acknowledgement{orv::bus::Lane::Down, 3, 4}));
    std::vector<std::byte> frames;
    for (std::uint64_t number = 1; number <= 4; ++number) {
        orv::bus::Frame frame{orv::bus::Lane::Down, 1, false, 0, 12, number % 2 == 1 ? 0U : 6U, number, {}};
        std::vector<std::byte> bytes(orv::bus::kFrameHeaderBytes + 6);
        orv::bus::write_header(frame, std::span(bytes).first<orv::bus::kFrameHeaderBytes>());
        frames.push_back(static_cast<std::byte>(bytes.size()));
        frames.push_back(std::byte{0});
        frames.insert(frames.end(), bytes.begin(), bytes.end());
    }
    save("lane", 10, frames);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: write_corpus <folder with the folders message, frame, rtcp and dhcp4>\n";
        return 2;
    }
    const std::filesystem::path folder = argv[1], messages = folder / "message";
    for (const auto& [name, message] : orv::tm::testing::sample_messages()) {
        std::vector<std::byte> bytes = message.encode();
        write(messages / ("good_" + name + ".msg"), bytes);
        bytes[bytes.size() / 2] ^= std::byte{0x55};
        write(messages / ("odd_" + name + ".msg"), bytes);
        bytes.resize(bytes.size() / 2);
        write(messages / ("cut_" + name + ".msg"), bytes);
    }
    write_agents(folder / "agents");
    for (const auto& sample : testing_aids::sample_frames())
        write(folder / "frame" / sample.name, testing_aids::bytes_of(sample.hex));
    for (const auto& sample : testing_aids::sample_datagrams())
        write(folder / "rtcp" / sample.name, testing_aids::bytes_of(sample.hex));
    for (const auto& sample : testing_aids::sample_dhcp4())
        write(folder / "dhcp4" / sample.name, testing_aids::bytes_of(sample.hex));
}
