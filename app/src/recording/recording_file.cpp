#include "recording_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>

#include "event_json.h"
#include "orv/common/exceptions.h"
#include "orv/core/port.h"
#include "stb_block_names.h"
#include "test_file/names.h"

namespace orv::app {

namespace {

/// Enough to see what is wrong with a file of a million lines.
constexpr std::size_t kMostMistakes = 20;

class Reader {
  public:
    Reader(const std::string& file, const core::CProject& project) : mistakes_(file) {
        framework::ScriptableVec ports;
        project.GetObjects(ports, core::CPort::CLASS_ID(), common::kParentChild);
        for (const auto* port : ports) {
            result_.ports[port->GetName()];
            port_names_.push_back(port->GetName());
        }
    }

    RecordingFile Read(std::istream& file) {
        std::string text;
        for (line_ = 1; mistake_count_ < kMostMistakes && std::getline(file, text); ++line_) {
            if (text.find_first_not_of(" \t\r") != text.npos) ReadLine(text);
        }
        for (auto& [port, recording] : result_.ports) {
            std::stable_sort(recording.begin(), recording.end(),
                             [](const auto& a, const auto& b) { return a.after_start < b.after_start; });
        }
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
        const OrderedJson line = OrderedJson::parse(text, nullptr, false);
        if (!line.is_object()) return Complain({}, "the line is no JSON object");
        const auto port = line.find("port");
        if (port == line.end() || !port->is_string())
            return Complain("port", "the name of the port is missing");
        const auto recording = result_.ports.find(port->get<std::string>());
        if (recording == result_.ports.end()) {
            return Complain("port", port->dump() + " is no port of the test", JoinNames(port_names_),
                            FindNearestName(port->get<std::string>(), port_names_));
        }
        const auto time = line.find("time_ms");
        if (time == line.end() || !time->is_number_unsigned() || time->get<std::uint64_t>() > kMostTimeMs)
            return Complain("time_ms", "the time is missing or wrong", "milliseconds since the start");
        const auto blocks = line.find("blocks");
        if (blocks == line.end() || !blocks->is_array()) return Complain("blocks", "the list is missing");
        il::RecordedReport& report = recording->second.emplace_back();
        report.after_start = std::chrono::milliseconds(time->get<std::uint64_t>());
        for (const OrderedJson& block : *blocks) ReadBlock(block, report);
    }

    void ReadBlock(const OrderedJson& json, il::RecordedReport& report) {
        const auto name = json.is_object() ? json.find("stb_block") : json.end();
        if (name == json.end() || !name->is_string())
            return Complain("stb_block", "the name of the STB block is missing");
        auto& block = report.blocks.emplace_back();
        block.stblock_handle = names_.FindHandle(name->get<std::string>());
        if (block.stblock_handle == 0)
            return Complain("stb_block", name->dump() + " is no STB block of the test");
        ReadEvents(json, "events", block.events);
        ReadEvents(json, "rrr_events", block.rrr_events);
    }

    template <class Event>
    void ReadEvents(const OrderedJson& block, const char* list, std::vector<Event>& events) {
        const auto found = block.find(list);
        if (found == block.end()) return;
        if (!found->is_array()) return Complain(list, "this is no list of events");
        for (const OrderedJson& json : *found) {
            try {
                FromJson(json, events.emplace_back());
            } catch (const common::COrvRunTimeError& error) {
                return Complain(list, error.what());
            }
        }
    }

    static constexpr std::uint64_t kMostTimeMs = 1'000'000'000'000;  // 30 years

    MistakeList mistakes_;
    RecordingFile result_;
    std::vector<std::string> port_names_;
    StbBlockNames names_;
    std::size_t mistake_count_ = 0;
    int line_ = 0;
};

}  // namespace

RecordingFile ReadRecording(const std::filesystem::path& path, const core::CProject& project) {
    Reader reader(path.string(), project);
    std::ifstream file(path);
    return file ? reader.Read(file) : reader.CannotRead();
}

}  // namespace orv::app
