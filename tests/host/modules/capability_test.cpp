// The capability database, and the users of the interfaces of a port.
#include <gmock/gmock.h>

#include <fstream>

#include "modules_fixture.h"
#include "orv/common/exceptions.h"
#include "orv/core/if_manager.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/rcm_db.h"

namespace orv::test {
namespace {

using core::RcmDBMgr;
using core::RcmKey;
using core::RcmValue;

class CapabilityTest : public ModulesTest {
  protected:
    CapabilityTest() { RcmDBMgr::Instance().Clear(); }
    ~CapabilityTest() override {
        RcmDBMgr::Instance().Clear();
        std::filesystem::remove(file_);
    }

    /// The text of what loading a file with this content throws, empty when it is fine.
    std::string Load(const std::string& content) {
        std::ofstream(file_) << content;
        try {
            RcmDBMgr::Instance().Load(file_);
        } catch (const common::COrvRunTimeError& error) {
            return error.what();
        }
        return "";
    }
    std::optional<RcmValue> Find(const core::CPort& port, const std::string& name) {
        RcmKey key;
        EXPECT_TRUE(core::RcmKeyMgr::GetLookupKey(port.GetHandle(), "GA", key));
        return RcmDBMgr::Instance().GetDBValue(key, name);
    }

    std::filesystem::path file_ =
        std::filesystem::path(testing::TempDir()) /
        ("capabilities_" + std::string(testing::UnitTest::GetInstance()->current_test_info()->name()) +
         ".yaml");
};

TEST_F(CapabilityTest, APortsOwnValueGoesBeforeThatOfAllPorts) {
    auto& own = MakePort("//127.0.0.1/1/1");
    auto& other = MakePort("//127.0.0.1/1/2");
    EXPECT_EQ(Find(own, "analyzer/anaStreams"), std::nullopt);
    ASSERT_EQ(Load("- service: GA\n"
                   "  location: //127.0.0.1/1/1\n"
                   "  values: {analyzer/anaStreams: 16}\n"
                   "- service: GA\n"
                   "  values: {analyzer/anaStreams: 8, name: \"12\", rate: 1.5, fast: true}\n"
                   "- service: OTHER\n"
                   "  values: {only/other: 1}\n"),
              "");
    EXPECT_EQ(Find(own, "analyzer/anaStreams"), RcmValue(std::int64_t{16}));
    EXPECT_EQ(Find(other, "analyzer/anaStreams"), RcmValue(std::int64_t{8}));
    EXPECT_EQ(Find(own, "name"), RcmValue(std::string("12")));
    EXPECT_EQ(Find(own, "rate"), RcmValue(1.5));
    EXPECT_EQ(Find(own, "fast"), RcmValue(true));
    EXPECT_EQ(Find(own, "only/other"), std::nullopt);
    RcmDBMgr::Instance().SetDBValue({"GA", "//127.0.0.1/1/2"}, "analyzer/anaStreams", std::int64_t{4});
    EXPECT_EQ(Find(other, "analyzer/anaStreams"), RcmValue(std::int64_t{4}));

    RcmKey key;
    EXPECT_FALSE(core::RcmKeyMgr::GetLookupKey(Project().GetHandle(), "GA", key)) << "no port";
    EXPECT_EQ(RcmDBMgr::Instance().GetDBValue(key, "analyzer/anaStreams"), RcmValue(std::int64_t{8}));
}

TEST_F(CapabilityTest, AFileThatIsWrongIsRefusedAsAWhole) {
    auto& port = MakePort();
    const std::string good = "- service: GA\n  values: {x: 1}\n";
    struct {
        const char* rest;
        const char* error;
    } const cases[] = {
        {"- values: {y: 2}\n", ":3: a group of capabilities needs a service"},
        {"- service: GA\n  values: [1]\n", ":4: values must be a map"},
        {"- service: GA\n  values: {y: [1]}\n", ":4: the value of y must be a single value"},
        {"- service: GA\n  values: {y: 1, y: 2}\n", ":4: y is given twice"},
        {"- service: GA\n  port: 1\n", ":4: unknown key port"},
        {"- service: [\n", ":4: "},
    };
    for (const auto& expected : cases) {
        EXPECT_THAT(Load(good + expected.rest), testing::HasSubstr(file_.string() + expected.error));
        EXPECT_EQ(Find(port, "x"), std::nullopt) << expected.rest;
    }
    EXPECT_THROW(RcmDBMgr::Instance().Load(file_ / "missing"), common::COrvRunTimeError);
}

/// Says that the port itself uses one interface.
class CFinder : public core::INetworkInterfaceUserFinder {
  public:
    explicit CFinder(const core::CPort* port) : port_(port) { ++alive; }
    ~CFinder() override { --alive; }
    void GetInterfaceUserContainerMapForPort(core::InterfaceUserMap& users) override {
        if (port_ == used_port) users[nullptr][nullptr].insert(used);
    }
    const core::RouteDescriptor* GetRouteDescriptorForIfUser(const framework::CScriptable*) override {
        return nullptr;
    }

    static core::INetworkInterfaceUserFinder* Make(const core::CPort* port) { return new CFinder(port); }

    static inline int alive = 0;
    static inline const core::CPort* used_port = nullptr;
    static inline core::CNetworkInterface* used = nullptr;

  private:
    const core::CPort* port_;
};

TEST_F(CapabilityTest, AllFindersAreAskedForThePortAndDestroyed) {
    auto& manager = core::CIfManager::Instance();
    const auto factory = core::CIfManager::FinderFactory::To<&CFinder::Make>();
    CFinder::used_port = &MakePort();
    CFinder::used = &Make<core::CIpv4If>(&MakeDevice(nullptr));
    manager.RegisterInterfaceUserFinderFactoryMethod(factory);
    manager.RegisterInterfaceUserFinderFactoryMethod(factory);
    EXPECT_EQ(manager.GetInterfaceUsers(*CFinder::used_port)[nullptr][nullptr],
              std::set<core::CNetworkInterface*>{CFinder::used});
    EXPECT_TRUE(manager.GetInterfaceUsers(MakePort()).empty());
    EXPECT_EQ(CFinder::alive, 0);
}

}  // namespace
}  // namespace orv::test
