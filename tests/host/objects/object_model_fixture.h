// A host with the test model, and an item class that records its calls.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "orv/core/host_application.h"
#include "orv/core/project.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/scriptable_creator.h"
#include "thrown.h"

namespace object_model_test {

using namespace orv::framework;  // NOLINT: tests
using orv::common::COrvLogicError;
using orv::common::COrvRunTimeError;
using orv::common::kChildParent;
using orv::common::kParentChild;

inline constexpr std::uint32_t kBox = 0x7e001000;
inline constexpr std::uint32_t kItem = 0x7e002000;
inline constexpr std::uint32_t kSpecialItem = 0x7e003000;
inline constexpr std::uint32_t kAbstract = 0x7e004000;
inline constexpr std::uint32_t kSingle = 0x7e005000;
inline constexpr PropId kActive = 0x1003;
inline constexpr PropId kCount = 0x7e002001;
inline constexpr PropId kColour = 0x7e002002;
inline constexpr PropId kText = 0x7e002003;
inline constexpr PropId kMaybe = 0x7e002004;
inline constexpr PropId kNumbers = 0x7e002005;
inline constexpr PropId kMoment = 0x7e002006;
inline constexpr PropId kAddress = 0x7e002008;
inline constexpr RelationType kUses{0x7e000001, 0};
inline constexpr RelationType kLikes{0x7e000002, 0};

/// Calls of the items, in order, as short texts.
std::vector<std::string>& Events();

/// The C++ class of TestItem and TestSpecialItem.
class TestItem : public CScriptable {
  public:
    static ClassId CLASS_ID() { return kItem; }

    bool OnInit() override { return !refuse_init; }
    bool OnMarkDelete() override;
    void OnPropertyModified(Property& property) override;
    void OnRelationModified(RelationType type, CScriptable& object, bool added) override;
    bool OnPreValidateRelationChange(RelationType type, CScriptable& object, bool added,
                                     std::string& reason) override;
    bool OnPropagatingActive(bool active) override { return active || !stays_active; }
    bool CloneRelationType(const CScriptable& other, const RelationType& type) const override;

    static inline bool refuse_init = false;
    bool keep = false;
    bool stays_active = false;
    bool refuse_relations = false;
};

class ObjectModelTest : public testing::Test {
  protected:
    ObjectModelTest();

    CScriptable& Project() { return host_.GetProject(); }
    TestItem& MakeItem(CScriptable* parent = nullptr) {
        return CScriptableCreator().MakeAs<TestItem>(kItem, parent ? parent : &Project());
    }
    CScriptable& MakeBox(CScriptable* parent = nullptr) {
        return CScriptableCreator().MakeAs<CScriptable>(kBox, parent ? parent : &Project());
    }

    orv::core::CHostApplication host_;
};

using testing_aids::ThrownBy;

}  // namespace object_model_test
