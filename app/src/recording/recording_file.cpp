#include "recording_file.h"

#include <fmt/format.h>
#include <unistd.h>
#include <ext/stdio_filebuf.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <unordered_map>

#include "event_json.h"
#include "orv/common/exceptions.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/framework/handle_registry.h"
#include "orv/ids/core_ids.h"
#include "output/foreign_json.h"
#include "recorder.h"
#include "stb_block_names.h"
#include "test_file/names.h"

namespace orv::app {

namespace {

/// Enough to see what is wrong with a file of a million lines.
constexpr std::size_t kMostMistakes = 20;
/// A notification of 65,535 views has some 50 MB.
constexpr std::size_t kLongestLine = std::size_t{256} << 20;

/// As std::getline, but also ends within a line that is longer than the longest.
bool ReadLineOf(std::istream& file, std::string& text) {
    std::string part(std::size_t{1} << 16, '\0');
    text.clear();
    while (text.size() <= kLongestLine) {
        file.getline(part.data(), static_cast<std::streamsize>(part.size()));
        const auto length = static_cast<std::size_t>(file.gcount());
        const bool is_part = file.fail() && !file.eof() && !file.bad() && length + 1 == part.size();
        const bool has_end = file.good();  // read from the file, but not stored
        text.append(part, 0, length - (has_end ? 1 : 0));
        if (!is_part) return !file.fail() || !text.empty();
        file.clear();
    }
    return true;
}

class Reader {
  public:
    Reader(const std::string& file, const core::CProject& project, RecordingEnd end)
        : file_(file), end_(end), mistakes_(file) {
        framework::ScriptableVec ports;
        project.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
        for (const auto* port : ports) {
            result_.ports[port->GetName()];
            port_names_.push_back(port->GetName());
        }
    }

    RecordingFile Read(std::istream& file) {
        std::string text;
        for (line_ = 1; mistake_count_ < kMostMistakes && ReadLineOf(file, text); ++line_) {
            if (text.size() > kLongestLine) {
                Complain({}, fmt::format("the line is longer than {} MiB, which no notification is",
                                         kLongestLine >> 20));
                break;
            }
            is_cut_off_ = file.eof();
            if (text.find_first_not_of(" \t\r") != text.npos) ReadLine(text);
        }
        if (file.eof()) CheckEnd();
        for (auto& [port, recordings] : result_.ports) {
            for (il::Recording& recording : recordings) {
                std::stable_sort(recording.begin(), recording.end(),
                                 [](const auto& a, const auto& b) { return a.after_start < b.after_start; });
            }
        }
        if (file.bad()) mistakes_.Add({}, std::string("the file cannot be read: ") + std::strerror(errno));
        result_.mistakes = mistakes_.TakeSorted();
        return std::move(result_);
    }

    RecordingFile CannotRead() {
        mistakes_.Add({}, std::string("the file cannot be read: ") + std::strerror(errno));
        result_.mistakes = mistakes_.TakeSorted();
        return std::move(result_);
    }

  private:
    void Complain(const std::string& member, const std::string& problem, const std::string& expected = {},
                  const std::string& nearest = {}) {
        ++mistake_count_;
        mistakes_.Add({{line_, 1}, "notification", member}, problem, expected, nearest);
    }

    void ReadLine(const std::string& text) {
        const OrderedJson line = ParseForeignJson<OrderedJson>(text);
        if (!line.is_object() && is_cut_off_ && end_ == RecordingEnd::MayBeMissing) return;
        if (!line.is_object()) return Complain({}, "the line is no JSON object");
        if (has_end_) return Complain({}, "there is something behind the last line of the recording");
        if (line.contains(kRecordingEnd)) return ReadEnd(line);
        ++notifications_;
        event_count_ = 0;
        const auto port = line.find("port");
        if (port == line.end() || !port->is_string())
            return Complain("port", "the name of the port is missing");
        if (!CheckMembers(line, {"port", "test", "time_ms", "blocks"})) return;
        const auto recordings = result_.ports.find(port->get<std::string>());
        if (recordings == result_.ports.end()) {
            return Complain("port", port->dump() + " is no port of the test", JoinNames(port_names_),
                            FindNearestName(port->get<std::string>(), port_names_));
        }
        const auto time = line.find("time_ms");
        if (time == line.end() || !time->is_number_unsigned() || time->get<std::uint64_t>() > kMostTimeMs)
            return Complain("time_ms", "the time is missing or wrong", "milliseconds since the start");
        const auto blocks = line.find("blocks");
        if (blocks == line.end() || !blocks->is_array()) return Complain("blocks", "the list is missing");
        const auto number = line.find("test");
        if (number != line.end() && (!number->is_number_unsigned() || number->get<std::uint64_t>() < 1 ||
                                     number->get<std::uint64_t>() > kMostTests)) {
            return Complain("test", number->dump() + " is wrong",
                            fmt::format("a number from 1 to {}", kMostTests));
        }
        const std::size_t test = number == line.end() ? 1 : number->get<std::size_t>();
        if (recordings->second.size() < test) recordings->second.resize(test);
        il::RecordedReport& report = recordings->second[test - 1].emplace_back();
        report.after_start = std::chrono::milliseconds(time->get<std::uint64_t>());
        for (const OrderedJson& block : *blocks) ReadBlock(block, recordings->first, report);
        // No port reports the same events twice. Lines without events are not compared.
        const auto [first, is_new] = lines_.emplace(std::hash<std::string>{}(text), line_);
        if (!is_new && event_count_ > 0) Complain({}, fmt::format("the line repeats line {}", first->second));
    }

    void ReadEnd(const OrderedJson& line) {
        has_end_ = true;
        const OrderedJson& count = line[kRecordingEnd];
        if (!CheckMembers(line, {kRecordingEnd})) return;
        if (!count.is_number_unsigned() || count.get<std::uint64_t>() != notifications_)
            Complain(kRecordingEnd,
                     fmt::format("the recording has {} notifications, not {}", notifications_, count.dump()));
    }

    void CheckEnd() {
        if (has_end_) return;
        if (end_ == RecordingEnd::Required) {
            return Complain({},
                            "the last line, which says how many notifications there are, is missing: the "
                            "recording has been cut off; --replay-incomplete plays back what is there");
        }
        result_.warnings.push_back(
            fmt::format("{}: the recording has been cut off after {} notifications", file_, notifications_));
    }

    void ReadBlock(const OrderedJson& json, const std::string& port, il::RecordedReport& report) {
        const auto name = json.is_object() ? json.find("stb_block") : json.end();
        if (name == json.end() || !name->is_string())
            return Complain("stb_block", "the name of the STB block is missing");
        auto& block = report.blocks.emplace_back();
        block.stblock_handle = names_.FindHandle(name->get<std::string>());
        if (block.stblock_handle == 0)
            return Complain("stb_block", name->dump() + " is no STB block of the test");
        if (const std::string at = FindPortOf(block.stblock_handle); at != port)
            return Complain("stb_block", fmt::format("{} is on port \"{}\"", name->dump(), at));
        if (!CheckMembers(json, {"stb_block", "events", "rrr_events"})) return;
        const std::uint32_t stbs = CountStbs(block.stblock_handle);
        ReadEvents(json, "events", stbs, block.events);
        ReadEvents(json, "rrr_events", stbs, block.rrr_events);
    }

    /// False, with a mistake, when the object has unknown members.
    bool CheckMembers(const OrderedJson& json, const std::vector<std::string>& known) {
        for (const auto& [name, value] : json.items()) {
            if (std::find(known.begin(), known.end(), name) != known.end()) continue;
            Complain(name, "there is no such member", JoinNames(known), FindNearestName(name, known));
            return false;
        }
        return true;
    }

    static std::string FindPortOf(std::uint32_t block) {
        const auto* object = framework::CHandleRegistry::Instance().Find(block);
        const auto* port =
            object->GetParent()->GetObject(core::CPort::CLASS_ID(), ids::relations::AffiliationPort);
        return port ? port->GetName() : "";
    }

    static std::uint32_t CountStbs(std::uint32_t block) {
        const auto* object = framework::CHandleRegistry::Instance().Find(block);
        const auto* device = dynamic_cast<const core::CEmulatedDevice*>(object->GetParent());
        return device ? device->GetDeviceCount() : 0;
    }

    template <class Event>
    void ReadEvents(const OrderedJson& block, const char* list, std::uint32_t stbs,
                    std::vector<Event>& events) {
        const auto found = block.find(list);
        if (found == block.end()) return;
        if (!found->is_array()) return Complain(list, "this is no list of events");
        for (const OrderedJson& json : *found) {
            try {
                FromJson(json, events.emplace_back());
                ++event_count_;
            } catch (const common::COrvRunTimeError& error) {
                return Complain(list, error.what());
            }
            const std::uint32_t stb = events.back().settop_index;
            if (stb < 1 || stb > stbs) {
                return Complain(list, fmt::format("settop_index: the block has no STB {}", stb),
                                fmt::format("a number from 1 to {}", stbs));
            }
        }
    }

    static constexpr std::uint64_t kMostTests = 1'000'000;
    static constexpr std::uint64_t kMostTimeMs = 1'000'000'000'000;  // 30 years

    std::string file_;
    RecordingEnd end_;
    MistakeList mistakes_;
    RecordingFile result_;
    std::vector<std::string> port_names_;
    StbBlockNames names_;
    std::size_t mistake_count_ = 0;
    int line_ = 0;
    bool is_cut_off_ = false;  ///< the line has no end
    bool has_end_ = false;     ///< of the recording
    std::uint64_t notifications_ = 0;
    std::size_t event_count_ = 0;                 ///< of the line
    std::unordered_map<std::size_t, int> lines_;  ///< by hash of their text
};

}  // namespace

RecordingFile ReadRecording(const std::filesystem::path& path, const core::CProject& project,
                            RecordingEnd end) {
    const bool is_standard_input = path == "-";
    Reader reader(is_standard_input ? "<stdin>" : path.string(), project, end);
    if (is_standard_input) {
        // Not std::cin, which does not distinguish the end from an error. The duplicate leaves standard input
        // open.
        const int input = dup(STDIN_FILENO);
        if (input < 0) return reader.CannotRead();
        __gnu_cxx::stdio_filebuf<char> buffer(input, std::ios::in);
        std::istream stream(&buffer);
        return reader.Read(stream);
    }
    std::ifstream file(path);
    std::error_code none;
    if (std::filesystem::is_directory(path, none)) {
        errno = EISDIR;
        return reader.CannotRead();
    }
    return file ? reader.Read(file) : reader.CannotRead();
}

}  // namespace orv::app
