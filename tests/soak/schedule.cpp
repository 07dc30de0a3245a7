#include "schedule.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <random>

#include "orv/il/faults.h"

namespace testing_aids {

namespace {

using Kind = Mishap::Kind;

/// Tests of so many kinds: the runs without faults are known once and for all.
constexpr std::uint64_t kTests = 40;
constexpr std::uint64_t kMostMishaps = 4;

class Dice {
  public:
    explicit Dice(std::uint64_t number) : engine_(number) {}
    std::uint64_t Below(std::uint64_t limit) { return engine_() % limit; }
    const char* OneOf(std::initializer_list<const char*> texts) { return texts.begin()[Below(texts.size())]; }

  private:
    std::mt19937_64 engine_;
};

TestText MakeTest(std::uint64_t number) {
    Dice dice(number);
    TestText test;
    test.type = dice.OneOf(
        {"ZAPPING", "VERIFICATION", "FAST_CHANNEL_CHANGE", "RELIABLE_RETRANSMISSION", "FCC_WITH_RRR"});
    test.environment = test.type == "FCC_WITH_RRR" ? "TESTING" : "REAL_WORLD";
    test.seconds = 2 + static_cast<int>(dice.Below(10));
    test.ipv6 = dice.Below(3) == 0;
    test.ports = 1 + static_cast<int>(dice.Below(3));
    test.stbs = 1 + static_cast<int>(dice.Below(8));
    test.profile = {"Interval: 500", "SetTopLeaveJoinDelay: 100", "JoinLatencyThreshold: 200",
                    "LeaveLatencyThreshold: 500"};
    test.block = {"RtpNackEnable: true", "UdpSourcePort: 6000", "FccServerPort: 5004", "RrrServerPort: 5004",
                  "SaveTimeStamps: " + std::string(dice.OneOf({"true", "false"}))};
    test.network = {"loss: " + std::string(dice.OneOf({"0", "1 %"})),
                    "join_failure: " + std::string(dice.OneOf({"0", "5 %"}))};
    return test;
}

std::string MakeFault(Dice& dice) {
    const std::string kind =
        dice.OneOf({"refuse", "lose_response", "go_offline", "spoil_notification", "late_end_of_test",
                    "repeat_end_of_test", "miss_end_of_test", "late_response", "repeat_response",
                    "lose_notification", "late_notification", "repeat_notification"});
    std::string text = fmt::format("{{kind: {}, occurrence: {}", kind, 1 + dice.Below(4));
    const auto& requests = orv::il::GetRequestNames();
    if (kind == "refuse" || kind.ends_with("_response") || (kind == "go_offline" && dice.Below(2) == 0)) {
        if (dice.Below(4) > 0) text += ", request: " + requests[dice.Below(requests.size())];
    }
    if (kind.starts_with("late_")) text += fmt::format(", delay_ms: {}", 1 + dice.Below(100'000));
    return text + "}";
}

}  // namespace

std::string Mishap::Describe() const {
    switch (kind) {
        case Kind::Fault:
            return fmt::format("port {}: {}", port, fault);
        case Kind::Interrupt:
            return fmt::format("interrupted after look {}", look);
        case Kind::RemoveDatabase:
            return fmt::format("database removed after look {}", look);
        case Kind::RemoveRecording:
            return fmt::format("recording removed after look {}", look);
    }
    return {};
}

SoakSchedule::SoakSchedule(std::uint64_t number) : test(MakeTest(number % kTests)) {
    Dice dice(number);
    for (std::uint64_t left = 1 + dice.Below(kMostMishaps); left > 0; --left) {
        Mishap& made = mishaps.emplace_back();
        // Faults of ports mostly; many looks are at the start and the end of a run.
        const std::uint64_t kind = dice.Below(10);
        made.look = static_cast<int>(1 + (dice.Below(2) == 0 ? dice.Below(20) : dice.Below(60)));
        if (kind >= 3) {
            made.port = 1 + static_cast<int>(dice.Below(static_cast<std::uint64_t>(test.ports)));
            made.fault = MakeFault(dice);
        } else {
            made.kind = std::array{Kind::Interrupt, Kind::RemoveDatabase, Kind::RemoveRecording}.at(kind);
        }
    }
}

std::string SoakSchedule::GetText(bool has_faults) const {
    std::string text = test.ToString();
    if (!has_faults || !Has(Kind::Fault)) return text;
    text += "  faults:\n";
    for (int port = 1; port <= test.ports; ++port) {
        std::string faults;
        for (const Mishap& mishap : mishaps)
            if (mishap.kind == Kind::Fault && mishap.port == port) faults += "      - " + mishap.fault + "\n";
        if (!faults.empty())
            text += fmt::format("    Viewers{}:\n{}", port == 1 ? "" : fmt::format(" {}", port), faults);
    }
    return text;
}

bool SoakSchedule::Has(Kind kind) const {
    return std::ranges::count(mishaps, kind, &Mishap::kind) > 0;
}

bool SoakSchedule::HasEventRows() const {
    return std::ranges::count(test.block, "SaveTimeStamps: true") > 0;
}

std::string SoakSchedule::Describe() const {
    std::vector<std::string> texts;
    for (const Mishap& mishap : mishaps) texts.push_back(mishap.Describe());
    return fmt::format("{}, {} s, {} ports with {} STBs: {}", test.type, test.seconds, test.ports, test.stbs,
                       fmt::join(texts, "; "));
}

}  // namespace testing_aids
