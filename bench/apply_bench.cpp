// Applies of a big project to ports that answer at once. What is edited must be sent without going through
// everything at length, and twice the project must not take more than about twice the time.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "big_project.h"
#include "cold_caches.h"
#include "orv/core/port.h"
#include "orv/framework/apply.h"
#include "orv/framework/rpc_manager.h"
#include "orv/framework/transport.h"
#include "orv/tm/message.h"

namespace {

using namespace orv;  // NOLINT: a benchmark

struct Traffic {
    std::size_t messages = 0;
    std::size_t bytes = 0;
};

/// The far end of a port: answers every request without looking into it.
class FarEnd {
  public:
    FarEnd(const core::CPort& port, Traffic& traffic) {
        auto [near, far] = framework::MakeInProcessTransport();
        end_ = std::move(far);
        end_->SetCallbacks([this, &traffic](std::vector<std::byte> bytes) { Answer(bytes, traffic); },
                           [](const std::string&) {});
        framework::CRpcManager::Instance().Connect(port.GetMessenger(), std::move(near));
    }

  private:
    void Answer(const std::vector<std::byte>& bytes, Traffic& traffic) {
        ++traffic.messages;
        traffic.bytes += bytes.size();
        tm::Message response;
        response.set_msg_type(tm::TMT_RESPONSE);
        response.header().set_seq_no(++requests_);  // a connection numbers its requests from 1 on
        end_->Send(response.encode());
    }

    std::unique_ptr<framework::ITransport> end_;
    std::uint32_t requests_ = 0;
};

class AppliedProject {
  public:
    explicit AppliedProject(const benchmark::State& state)
        : project_(static_cast<std::uint32_t>(state.range(0)), static_cast<std::uint32_t>(state.range(1))) {
        for (framework::CScriptable* port : project_.GetPorts())
            far_ends_.push_back(std::make_unique<FarEnd>(dynamic_cast<core::CPort&>(*port), traffic_));
    }
    ~AppliedProject() { framework::CRpcManager::Instance().Reset(); }

    /// Applies. Returns how many seconds it took.
    double Apply() {
        bench::EmptyCaches();
        traffic_ = {};
        const auto start = std::chrono::steady_clock::now();
        framework::ValidationContext context;
        framework::ApplyToIL(project_.Root(), context);
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
        return took.count();
    }
    /// Notes what the last apply sent.
    void Count(benchmark::State& state, std::size_t expected_messages) const {
        state.counters["messages"] = static_cast<double>(traffic_.messages);
        state.counters["bytes"] = static_cast<double>(traffic_.bytes);
        if (traffic_.messages == expected_messages) return;
        std::fprintf(stderr, "The apply sent %zu messages instead of %zu\n", traffic_.messages,
                     expected_messages);
        std::exit(1);
    }
    void Edit(std::uint16_t level) {
        project_.GetStbBlocks()[project_.GetStbBlocks().size() / 2]->Set(
            ids::IptvStbBlockConfig::MinBufferLevel, level);
    }

  private:
    bench::BigProject project_;
    Traffic traffic_;
    std::vector<std::unique_ptr<FarEnd>> far_ends_;
};

void FirstApply(benchmark::State& state) {
    for (auto _ : state) {
        AppliedProject project(state);
        state.SetIterationTime(project.Apply());
        project.Count(state, 8 * 4);  // to each port: profile, ranges, interfaces, blocks
    }
}

void EditedApply(benchmark::State& state) {
    AppliedProject project(state);
    project.Apply();
    std::uint16_t level = 0;
    for (auto _ : state) {
        project.Edit(++level);
        state.SetIterationTime(project.Apply());
        project.Count(state, 2);  // the interface, the block
    }
}

// Arguments: set-top-box blocks; ranges, and as many channel blocks.
BENCHMARK(FirstApply)
    ->Args({16384, 500})
    ->Args({8192, 500})
    ->Unit(benchmark::kMillisecond)
    ->UseManualTime()
    ->Iterations(1);
BENCHMARK(EditedApply)->Args({16384, 500})->Unit(benchmark::kMillisecond)->UseManualTime()->Iterations(3);

}  // namespace
