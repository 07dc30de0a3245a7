// Writes the seeds of the message fuzzer: every sample message, and each cut and damaged once.
#include <filesystem>
#include <fstream>
#include <iostream>

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
        std::cerr << "usage: write_message_corpus <folder>\n";
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    for (const auto& [name, message] : orv::tm::testing::sample_messages()) {
        std::vector<std::byte> bytes = message.encode();
        write(folder / ("good_" + name + ".msg"), bytes);
        bytes[bytes.size() / 2] ^= std::byte{0x55};
        write(folder / ("odd_" + name + ".msg"), bytes);
        bytes.resize(bytes.size() / 2);
        write(folder / ("cut_" + name + ".msg"), bytes);
    }
}
