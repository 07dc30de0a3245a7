// The object model at scale: objects with 20 properties and 3 relations each; time per object must not grow
// with their number.
#include <benchmark/benchmark.h>

#include <malloc.h>

#include <memory>

#include "allocation_counter.h"
#include "cold_caches.h"
#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/relation_manager.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/static_registration.h"

namespace {

using namespace orv::framework;  // NOLINT: a benchmark
using orv::common::kParentChild;

constexpr std::uint32_t kItemClass = 0x7f001000;
constexpr RelationType kNext{0x7f000001, 0};
constexpr RelationType kShared{0x7f000002, 0};
constexpr int kProperties = 20;

const StaticRegisterClass<CScriptable> registration{kItemClass};

const CMetaClass& ItemClass() {
    static const CMetaClass& item = [&]() -> const CMetaClass& {
        CMetaClass::Definition definition;
        definition.id = kItemClass;
        definition.name = "BenchItem";
        definition.base = CMetaClassManager::Instance().GetClass("Scriptable");
        for (int i = 0; i < kProperties; ++i) {
            CPropertyMeta property;
            property.id = kItemClass + 1 + static_cast<std::uint32_t>(i);
            property.name = "Value" + std::to_string(i);
            property.type = i % 5 == 0 ? PropertyType::String : PropertyType::U32;
            property.default_value =
                i % 5 == 0 ? PropertyValue(Boxed<std::string>("text")) : PropertyValue(std::uint32_t{7});
            definition.own_properties.push_back(property);
        }
        const CMetaClass& made = CMetaClassManager::Instance().AddClass(std::move(definition));
        CRelationManager::Instance().AddRelation({kNext.type, "BenchNext", kItemClass, kItemClass, 1, true});
        CRelationManager::Instance().AddRelation(
            {kShared.type, "BenchShared", kItemClass, kItemClass, 1, true});
        return made;
    }();
    return item;
}

/// A host with a project of `count` items; each is a child of the project, follows the one before, and shares
/// the first.
class Tree {
  public:
    explicit Tree(std::int64_t count) : host_({ClockKind::Virtual}) {
        items_.reserve(static_cast<std::size_t>(count));
        CScriptableCreator creator;
        const CMetaClass& item = ItemClass();
        for (std::int64_t i = 0; i < count; ++i) {
            CScriptable* made = creator.Create(&item, &host_.GetProject());
            if (i > 0) items_.back()->AddObject(*made, kNext);
            if (i > 0) made->AddObject(*items_.front(), kShared);
            items_.push_back(made);
        }
    }
    const std::vector<CScriptable*>& GetItems() const { return items_; }
    CScriptable& GetProject() const { return host_.GetProject(); }

  private:
    orv::core::CHostApplication host_;
    std::vector<CScriptable*> items_;
};

/// Memory that has been given back stays with the process, so that no pass pays for new pages.
[[maybe_unused]] const bool keeps_memory =
    mallopt(M_TRIM_THRESHOLD, 1 << 30) && mallopt(M_MMAP_THRESHOLD, 1 << 30);

void Sizes(benchmark::internal::Benchmark* benchmark) {
    // The larger one first: it warms the heap for both.
    benchmark->Arg(100000)->Arg(10000)->Unit(benchmark::kMillisecond);
}

void CreateObjects(benchmark::State& state) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        state.PauseTiming();
        bench::EmptyCaches();
        state.ResumeTiming();
        const std::size_t before = bench::CountAllocations().bytes;
        auto tree = std::make_unique<Tree>(state.range(0));
        bytes = bench::CountAllocations().bytes - before;
        state.PauseTiming();
        tree.reset();
        state.ResumeTiming();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["bytes_per_object"] = static_cast<double>(bytes) / static_cast<double>(state.range(0));
}
BENCHMARK(CreateObjects)->Apply(Sizes)->Iterations(3);

void GetProperty(benchmark::State& state) {
    const Tree tree(state.range(0));
    for (auto _ : state) {
        state.PauseTiming();
        bench::EmptyCaches();
        state.ResumeTiming();
        std::uint64_t sum = 0;
        for (const CScriptable* item : tree.GetItems()) {
            for (std::uint32_t i = 1; i < 5; ++i) sum += item->GetU32(kItemClass + 1 + i);
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(GetProperty)->Apply(Sizes)->Iterations(10);

void FindHandle(benchmark::State& state) {
    const Tree tree(state.range(0));
    std::vector<std::uint32_t> handles;
    for (const CScriptable* item : tree.GetItems()) handles.push_back(item->GetHandle());
    for (auto _ : state) {
        state.PauseTiming();
        bench::EmptyCaches();
        state.ResumeTiming();
        for (const std::uint32_t handle : handles)
            benchmark::DoNotOptimize(CHandleRegistry::Instance().Find(handle));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(FindHandle)->Apply(Sizes)->Iterations(10);

void GetObjects(benchmark::State& state) {
    const Tree tree(state.range(0));
    ScriptableVec found;
    for (auto _ : state) {
        state.PauseTiming();
        bench::EmptyCaches();
        found.clear();
        state.ResumeTiming();
        tree.GetProject().GetObjects(found, kItemClass, kParentChild);
        benchmark::DoNotOptimize(found.data());
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(GetObjects)->Apply(Sizes)->Iterations(10);

}  // namespace
