// Projects made of test files, for tests of the configuration of live ports.
#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>

#include "app/good_file.h"
#include "orv/core/port.h"
#include "orv/framework/logger.h"
#include "orv/framework/sequencer.h"

namespace testing_aids {

class LiveProjectTest : public test_file_test::TestFileTest {
  protected:
    LiveProjectTest() { orv::framework::BLLLoggerFactory::GetInstance().SetConsole(false); }

    /// Makes the objects, which stand below "project:".
    void Build(const std::string& objects) {
        orv::core::CProject& project = host_.NewProject();
        const auto file = Parse(test_file_test::WithObjects(objects));
        ASSERT_EQ(Join(file.GetMistakes()), "");
        ASSERT_EQ(Join(file.Build(project, orv::framework::CSequencer::Instance()).mistakes), "");
    }

    orv::core::CPort& PortOf(const std::string& name) {
        return Find<orv::core::CPort>(host_.GetProject(), name);
    }

    template <class T>
    static T& Find(const orv::framework::CScriptable& parent, const std::string& name) {
        orv::framework::ScriptableVec objects;
        parent.GetObjects(objects, T::CLASS_ID(), orv::common::kParentChild);
        const auto found = std::find_if(objects.begin(), objects.end(),
                                        [&name](const auto* object) { return object->GetName() == name; });
        if (found == objects.end()) throw std::runtime_error("there is no " + name);
        return dynamic_cast<T&>(**found);
    }
};

}  // namespace testing_aids
