// Writes the seeds of the frame fuzzer: one frame of each kind.
#include <filesystem>
#include <fstream>
#include <iostream>

#include "live/sample_frames.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: write_frame_corpus <folder>\n";
        return 2;
    }
    const std::filesystem::path folder = argv[1];
    for (const auto& sample : testing_aids::sample_frames()) {
        const std::vector<std::byte> bytes = testing_aids::bytes_of(sample.hex);
        std::ofstream out(folder / sample.name, std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        if (!out.flush()) throw std::runtime_error("cannot write " + (folder / sample.name).string());
    }
}
