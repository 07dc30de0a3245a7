#include "orv/l2l3/traffic_commands.h"

#include "core/command_inputs.h"
#include "orv/core/port.h"
#include "orv/framework/static_registration.h"
#include "orv/framework/task_manager.h"
#include "orv/ids/l2l3_ids.h"
#include "orv/l2l3/analyzer.h"
#include "orv/l2l3/generator.h"

namespace orv::l2l3 {

using framework::CScriptable;
using framework::ScriptableVec;

namespace {

/// Time in which generators are starting before they send, so that waiters see the state.
constexpr int kGeneratorStartMs = 10;

void SetStateOfGenerators(const ScriptableVec& generators, std::uint8_t state) {
    for (CScriptable* generator : generators) dynamic_cast<CGenerator&>(*generator).SetState(state);
}

}  // namespace

framework::ClassId CAnalyzerCommand::CLASS_ID() {
    return ids::AnalyzerCommand::CLASS;
}

const std::vector<std::uint32_t>& CAnalyzerCommand::GetAnalyzerList() const {
    return GetCollection<std::uint32_t>(ids::AnalyzerCommand::AnalyzerList);
}

void CAnalyzerCommand::SetAnalyzerList(std::vector<std::uint32_t> handles) {
    SetCollection(ids::AnalyzerCommand::AnalyzerList, std::move(handles));
}

void CAnalyzerCommand::AddAnalyzer(std::uint32_t handle) {
    AddToCollection(ids::AnalyzerCommand::AnalyzerList, handle);
}

bool CAnalyzerCommand::OnInit() {
    core::CoverWholeProject(*this, ids::AnalyzerCommand::AnalyzerList);
    return CCommand::OnInit();
}

void CAnalyzerCommand::SetStateOfAnalyzers(std::uint8_t state) {
    ScriptableVec analyzers;
    ProcessInputHandleVec(CAnalyzer::CLASS_ID(), GetAnalyzerList(), analyzers);
    for (CScriptable* analyzer : analyzers) dynamic_cast<CAnalyzer&>(*analyzer).SetState(state);
}

framework::ClassId CAnalyzerStartCommand::CLASS_ID() {
    return ids::AnalyzerStartCommand::CLASS;
}
void CAnalyzerStartCommand::DoRun() {
    SetStateOfAnalyzers(ids::AnalyzerState::RUNNING);
}

framework::ClassId CAnalyzerStopCommand::CLASS_ID() {
    return ids::AnalyzerStopCommand::CLASS;
}
void CAnalyzerStopCommand::DoRun() {
    SetStateOfAnalyzers(ids::AnalyzerState::STOPPED);
}

framework::ClassId CGeneratorCommand::CLASS_ID() {
    return ids::GeneratorCommand::CLASS;
}

bool CGeneratorCommand::OnInit() {
    core::CoverWholeProject(*this, ids::GeneratorCommand::GeneratorList);
    return CCommand::OnInit();
}

ScriptableVec CGeneratorCommand::FindGenerators() const {
    ScriptableVec generators;
    ProcessInputHandleVec(CGenerator::CLASS_ID(),
                          GetCollection<std::uint32_t>(ids::GeneratorCommand::GeneratorList), generators);
    return generators;
}

framework::ClassId CGeneratorStartCommand::CLASS_ID() {
    return ids::GeneratorStartCommand::CLASS;
}

void CGeneratorStartCommand::DoRun() {
    ScriptableVec unreachable;
    for (CScriptable* generator : FindGenerators()) {
        const auto* port = dynamic_cast<const core::CPort*>(generator->GetParent());
        if (!port || !port->IsReachable()) {
            unreachable.push_back(generator);
        } else if (dynamic_cast<CGenerator&>(*generator).GetState() == ids::GeneratorState::STOPPED) {
            dynamic_cast<CGenerator&>(*generator).SetState(ids::GeneratorState::STARTING);
        }
    }
    const std::string names = core::JoinNames(unreachable);
    framework::CTaskManager::Instance().CtmYield(kGeneratorStartMs);
    // Generators stopped or deleted in the meantime are not changed.
    ScriptableVec starting = FindGenerators();
    std::erase_if(starting, [](const CScriptable* generator) {
        return dynamic_cast<const CGenerator&>(*generator).GetState() != ids::GeneratorState::STARTING;
    });
    SetStateOfGenerators(starting, ids::GeneratorState::RUNNING);
    if (!names.empty())
        throw common::COrvRunTimeError("the ports of these generators cannot be reached: " + names);
}

framework::ClassId CGeneratorStopCommand::CLASS_ID() {
    return ids::GeneratorStopCommand::CLASS;
}

void CGeneratorStopCommand::DoRun() {
    SetStateOfGenerators(FindGenerators(), ids::GeneratorState::STOPPED);
}

ORV_REGISTER_CLASS(CAnalyzerStartCommand);
ORV_REGISTER_CLASS(CAnalyzerStopCommand);
ORV_REGISTER_CLASS(CGeneratorStartCommand);
ORV_REGISTER_CLASS(CGeneratorStopCommand);

}  // namespace orv::l2l3
