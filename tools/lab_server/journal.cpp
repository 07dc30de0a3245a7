#include "lab_server/journal.h"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

namespace orv::lab {

void PrintCounts(const Counts& counts) {
    const std::pair<const char*, std::uint64_t> all[] = {{"requests", counts.requests},
                                                         {"updates", counts.updates},
                                                         {"refused", counts.refused},
                                                         {"bursts", counts.bursts},
                                                         {"burst_packets", counts.burst_packets},
                                                         {"burst_lost", counts.burst_lost},
                                                         {"expired", counts.expired},
                                                         {"terminations", counts.terminations},
                                                         {"byes", counts.byes},
                                                         {"nacks", counts.nacks},
                                                         {"asked", counts.asked},
                                                         {"repairs", counts.repairs},
                                                         {"repairs_lost", counts.repairs_lost},
                                                         {"unknown", counts.unknown},
                                                         {"tokens", counts.tokens},
                                                         {"token_failures", counts.token_failures},
                                                         {"malformed", counts.malformed},
                                                         {"channels", counts.channels},
                                                         {"stored", counts.stored},
                                                         {"not_received", counts.not_received},
                                                         {"not_sent", counts.not_sent}};
    const char* separator = "{";
    for (const auto& [name, value] : all) {
        std::printf("%s\"%s\": %llu", std::exchange(separator, ", "), name,
                    static_cast<unsigned long long>(value));
    }
    std::printf("}\n");
    std::fflush(stdout);
}

RequestLog::RequestLog(const std::string& name) {
    if (name.empty()) return;
    file_.reset(std::fopen(name.c_str(), "we"));
    if (!file_) throw std::system_error(errno, std::generic_category(), name);
    std::setvbuf(file_.get(), nullptr, _IOFBF, 1 << 16);
}

RequestLog::Line::Line(RequestLog& log, std::string_view kind, const Client& client, Nanoseconds time)
    : file_(log.file_.get()) {
    if (!file_) return;
    std::fprintf(file_, "{\"time\": %lld", static_cast<long long>(time.count()));
    Text("kind", kind);
    Text("client", client.name());
    if (client.vlans()[0] != 0) {
        Begin("vlans");
        for (const std::uint16_t vlan : client.vlans()) {
            if (vlan != 0) Item(vlan);
        }
        End();
    }
}

RequestLog::Line::~Line() {
    if (file_) std::fprintf(file_, "}\n");
}

void RequestLog::Line::Name(std::string_view name) {
    if (file_) std::fprintf(file_, ", \"%.*s\": ", static_cast<int>(name.size()), name.data());
}

RequestLog::Line& RequestLog::Line::Number(std::string_view name, std::uint64_t value) {
    Name(name);
    if (file_) std::fprintf(file_, "%llu", static_cast<unsigned long long>(value));
    return *this;
}

// The texts are the program's own, and need no escapes.
RequestLog::Line& RequestLog::Line::Text(std::string_view name, std::string_view value) {
    Name(name);
    if (file_) std::fprintf(file_, "\"%.*s\"", static_cast<int>(value.size()), value.data());
    return *this;
}

RequestLog::Line& RequestLog::Line::Yes(std::string_view name, bool value) {
    Name(name);
    if (file_) std::fputs(value ? "true" : "false", file_);
    return *this;
}

RequestLog::Line& RequestLog::Line::Begin(std::string_view name) {
    Name(name);
    if (file_) std::fputc('[', file_);
    first_ = true;
    return *this;
}

RequestLog::Line& RequestLog::Line::Item(std::uint64_t value) {
    const char* const separator = std::exchange(first_, false) ? "" : ", ";
    if (file_) std::fprintf(file_, "%s%llu", separator, static_cast<unsigned long long>(value));
    return *this;
}

RequestLog::Line& RequestLog::Line::End() {
    if (file_) std::fputc(']', file_);
    return *this;
}

}  // namespace orv::lab
