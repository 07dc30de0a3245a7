// A running host with a project, and short ways to build what the tests need below it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orv/core/emulated_device.h"
#include "orv/core/host_application.h"
#include "orv/core/network_interface.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/ids/core_ids.h"

namespace orv::test {

class ModulesTest : public testing::Test {
  protected:
    template <class T>
    T& Make(framework::CScriptable* parent) {
        return framework::CScriptableCreator().Make<T>(parent);
    }
    framework::CScriptable& MakeByName(const std::string& class_name, framework::CScriptable* parent);

    core::CProject& Project() { return host_.GetProject(); }
    core::CPort& MakePort(const std::string& location = "");
    core::CEmulatedDevice& MakeDevice(core::CPort* port, std::uint32_t count = 1);
    /// Makes interfaces of the named classes, each stacked on the one before; returns them in that order.
    std::vector<core::CNetworkInterface*> MakeStack(core::CEmulatedDevice& device,
                                                    const std::vector<std::string>& classes_from_link_layer);
    /// Relates or fails the test with the reason.
    void Relate(framework::CScriptable& from, framework::CScriptable& to, framework::RelationType type);

    /// Class names without C.
    static std::vector<std::string> ClassNames(const std::vector<core::CNetworkInterface*>& interfaces);

  private:
    core::CHostApplication host_{core::CHostApplication::Options{framework::ClockKind::Virtual}};
};

}  // namespace orv::test
