// A project on scripted ports.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "orv/framework/apply.h"
#include "orv/framework/rpc_manager.h"
#include "scripted_port.h"
#include "test_project.h"

namespace testing_aids {

/// Two ports, "P1" and "P2", with scripted far ends.
class ApplyTest : public testing::Test {
  protected:
    ApplyTest() : p1(project.MakePort("P1")), p2(project.MakePort("P2")), far1(p1), far2(p2) {
        far1.journal = far2.journal = &journal;
    }
    ~ApplyTest() override { orv::framework::CRpcManager::Instance().Reset(); }

    /// Applies the project. Returns what it failed with, empty when it succeeded.
    std::string Apply() {
        try {
            orv::framework::ValidationContext context;
            orv::framework::ApplyToIL(project.Root(), context);
            return {};
        } catch (const orv::common::COrvRunTimeError& error) {
            return error.what();
        }
    }
    std::vector<std::string> TakeJournal() { return std::exchange(journal, {}); }

    std::vector<std::string> journal;
    TestProject project;
    orv::core::CPort& p1;
    orv::core::CPort& p2;
    ScriptedPort far1;
    ScriptedPort far2;
};

}  // namespace testing_aids
