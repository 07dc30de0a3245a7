// Starting and stopping generators and analyzers.
#pragma once

#include <cstdint>
#include <vector>

#include "orv/framework/command.h"

namespace orv::l2l3 {

/// A list of analyzers to work on: handles of analyzers, or of objects above them. A new command's list names
/// the project, and so covers all analyzers, until it is narrowed.
class CAnalyzerCommand : public framework::CCommand {
  public:
    static framework::ClassId CLASS_ID();

    const std::vector<std::uint32_t>& GetAnalyzerList() const;
    void SetAnalyzerList(std::vector<std::uint32_t> handles);
    void AddAnalyzer(std::uint32_t handle);

    bool OnInit() override;

  protected:
    void SetStateOfAnalyzers(std::uint8_t state);
};

class CAnalyzerStartCommand : public CAnalyzerCommand {
  public:
    static framework::ClassId CLASS_ID();
    void DoRun() override;
};

class CAnalyzerStopCommand : public CAnalyzerCommand {
  public:
    static framework::ClassId CLASS_ID();
    void DoRun() override;
};

/// The same for generators.
class CGeneratorCommand : public framework::CCommand {
  public:
    static framework::ClassId CLASS_ID();
    bool OnInit() override;

  protected:
    framework::ScriptableVec FindGenerators() const;
};

/// The generators are starting for a moment before they run, so that all of them start together. Fails, after
/// the others have been started, when the port of a generator cannot be reached.
class CGeneratorStartCommand : public CGeneratorCommand {
  public:
    static framework::ClassId CLASS_ID();
    void DoRun() override;
};

class CGeneratorStopCommand : public CGeneratorCommand {
  public:
    static framework::ClassId CLASS_ID();
    void DoRun() override;
};

}  // namespace orv::l2l3
