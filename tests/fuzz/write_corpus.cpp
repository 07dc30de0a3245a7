// Writes the seeds of the fuzzers: every sample message, and each cut and damaged once; a frame, an
// RTCP datagram and a DHCPv4 answer of each kind.
#include <filesystem>
#include <fstream>
#include <iostream>

#include "live/dhcp4_network.h"
#include "live/sample_rtcp.h"
#include "tm/sample_messages.h"

namespace {

void write(const std::filesystem::path& file, const std::vector<std::byte>& bytes) {
    std::ofstream out(file, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out.flush()) throw std::runtime_error("cannot write " + file.string());
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
    for (const auto& sample : testing_aids::sample_frames())
        write(folder / "frame" / sample.name, testing_aids::bytes_of(sample.hex));
    for (const auto& sample : testing_aids::sample_datagrams())
        write(folder / "rtcp" / sample.name, testing_aids::bytes_of(sample.hex));
    for (const auto& sample : testing_aids::sample_dhcp4())
        write(folder / "dhcp4" / sample.name, testing_aids::bytes_of(sample.hex));
}
