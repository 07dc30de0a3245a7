// Changes test files line by line, with lines and values of the examples: bytes alone seldom make another
// file.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t max_size);

namespace {

using Lines = std::vector<std::string>;

Lines Split(std::istream& text) {
    Lines lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

const Lines& GetExampleLines() {
    static const Lines lines = [] {
        Lines all;
        for (const auto& entry : std::filesystem::directory_iterator(EXAMPLES_PATH)) {
            std::ifstream file(entry.path());
            for (std::string& line : Split(file)) all.push_back(std::move(line));
        }
        return all;
    }();
    return lines;
}

std::string GetValue(const std::string& line) {
    const auto colon = line.find(": ");
    return colon == line.npos ? "" : line.substr(colon + 2);
}

constexpr std::array kValues{"",
                             "0",
                             "-1",
                             "1",
                             "65536",
                             "4294967296",
                             "1e9",
                             ".inf",
                             "1000000",
                             "[]",
                             "{}",
                             "\"\"",
                             "null",
                             "true",
                             "*a",
                             "&a [x]",
                             "[a, b, a]",
                             "255.255.255.255",
                             "::",
                             "ff1e::1",
                             "99999999999999999999",
                             "- - -",
                             "!!binary eA=="};

}  // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t max_size,
                                               unsigned seed) {
    std::minstd_rand random(seed);
    const auto below = [&](std::size_t limit) { return random() / 5 % limit; };
    if (below(4) == 0) return LLVMFuzzerMutate(data, size, max_size);
    std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
    Lines lines = Split(text);
    if (lines.empty()) lines.emplace_back();
    const auto& examples = GetExampleLines();
    const auto at = lines.begin() + static_cast<std::ptrdiff_t>(below(lines.size()));
    const auto end = at + static_cast<std::ptrdiff_t>(std::min<std::size_t>(
                              1 + below(12), static_cast<std::size_t>(lines.end() - at)));
    switch (below(6)) {
        case 0:
            lines.erase(at, at + 1);
            break;
        case 1:
            lines.erase(at, end);
            break;
        case 2: {
            const Lines part(at, end);
            lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(below(lines.size())), part.begin(),
                         part.end());
            break;
        }
        case 3:
            lines.insert(at, examples[below(examples.size())]);
            break;
        case 4:
            for (auto line = at; line != end; ++line) {
                if (seed % 2 == 0)
                    *line = "  " + *line;
                else if (line->starts_with("  "))
                    line->erase(0, 2);
            }
            break;
        default: {
            const auto colon = at->find(':');
            const std::string value =
                below(2) == 0 ? GetValue(examples[below(examples.size())]) : kValues[below(kValues.size())];
            *at = at->substr(0, colon) + ": " + value;
        }
    }
    std::string changed;
    for (const std::string& line : lines) changed += line + '\n';
    if (changed.size() > max_size) changed.resize(max_size);
    std::memcpy(data, changed.data(), changed.size());
    return changed.size();
}
