#include "host/host_fixture.h"
#include "host/log/log_catcher.h"
#include "orv/framework/notification_service.h"

namespace host_test {
namespace {

using Change = CNotificationService::Change;

class ObjectNotice : public HostTest {
  protected:
    ObjectNotice() {
        id_ = Service().AddListener([this](CScriptable& object, Change change) {
            const char* const names[] = {"registered", "property", "relation", "destroyed"};
            trace_ += object.GetName() + ":" + names[static_cast<int>(change)] + " ";
        });
    }
    ~ObjectNotice() override { Service().RemoveListener(id_); }
    static CNotificationService& Service() { return CNotificationService::Instance(); }

    std::string trace_;
    int id_ = 0;
};

TEST_F(ObjectNotice, RegisteredObjectsReportTheirChangesUntilTheyEnd) {
    CScriptable& a = MakeThing("a");
    CScriptable& b = MakeThing("b");
    const std::uint32_t handle = a.GetHandle();
    a.Set(kValue, std::uint32_t{1});
    Service().RegisterCallback(&a);
    Service().RegisterCallback(&a);
    Service().RegisterCallback(nullptr);
    a.Set(kValue, std::uint32_t{2});
    a.Set(kValue, std::uint32_t{2});
    b.Set(kValue, std::uint32_t{2});
    a.AddObject(b, kUses);
    EXPECT_EQ(trace_, "a:registered a:property a:relation ");
    trace_.clear();
    a.Delete();
    EXPECT_EQ(trace_.substr(trace_.rfind(':')), ":destroyed ");
    EXPECT_FALSE(Service().IsRegistered(handle));
}

TEST_F(ObjectNotice, AListenerMayRemoveOthersAndItsFailureStaysWithIt) {
    const LogCatcher log;
    int later = 0;
    int later_calls = 0;
    const int failing = Service().AddListener([&](CScriptable&, Change) {
        Service().RemoveListener(later);
        throw std::runtime_error("spoilt");
    });
    later = Service().AddListener([&](CScriptable&, Change) { ++later_calls; });
    CScriptable& a = MakeThing("a");
    Service().RegisterCallback(&a);
    a.Delete();
    EXPECT_EQ(later_calls, 0);
    EXPECT_TRUE(log.Has(LogLevelType::Error, "spoilt"));
    Service().RemoveListener(failing);
}

}  // namespace
}  // namespace host_test
