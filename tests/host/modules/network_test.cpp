// Ports and their capabilities, interface stacks, and the users of interfaces.
#include "modules_fixture.h"
#include "orv/core/ipv4_if.h"
#include "orv/core/network_interface_stack_enumerator.h"
#include "orv/core/physical_chassis.h"
#include "orv/core/port_group.h"
#include "orv/core/rcm_db.h"
#include "orv/ids/framework_ids.h"

namespace {

using namespace host_test;  // NOLINT: a test

using Interfaces = std::vector<core::CNetworkInterface*>;
using ModelRulesTest = ModulesTest;

TEST_F(ModelRulesTest, PortsKnowTheirAddressGroupAndChassis) {
    auto& port = MakePort("//127.0.0.1/1/1");
    EXPECT_EQ(port.GetMessenger().ToMessengerString(), "//127.0.0.1/1/1");
    EXPECT_EQ(port.GetPortGroup(), nullptr);
    EXPECT_EQ(port.GetChassis(), nullptr);
    auto& chassis = Make<core::CPhysicalChassis>();
    auto& group = Make<core::CPortGroup>(&chassis);
    Relate(port, group, ids::relations::AffiliationPortGroup);
    EXPECT_EQ(port.GetPortGroup(), &group);
    EXPECT_EQ(port.GetChassis(), &chassis);
    port.SetObjectState(CScriptable::STATE_UNCHANGED);
    port.Set(ids::Port::Online, false);
    EXPECT_FALSE(port.IsObjectDirty(false)) << "whether a port is online is no configuration";
}

struct CapabilityTest : ModulesTest {
    CapabilityTest() { core::RcmDBMgr::Instance().Clear(); }
    ~CapabilityTest() override { core::RcmDBMgr::Instance().Clear(); }

    /// The text of what loading a file with this content throws.
    std::string Load(const std::string& content) {
        folder_.Write("file.yaml", content);
        return ThrownBy<COrvRunTimeError>([this] { core::RcmDBMgr::Instance().Load(folder_ / "file.yaml"); });
    }
    static auto Find(const CScriptable& object, const std::string& name) {
        core::RcmKey key;
        EXPECT_EQ(core::RcmKeyMgr::GetLookupKey(object.GetHandle(), "GA", key), object.IsTypeOf("Port"));
        return core::RcmDBMgr::Instance().GetDBValue(key, name);
    }

    Folder folder_;
};

TEST_F(CapabilityTest, APortsOwnValueGoesBeforeThatOfAllPorts) {
    using Value = core::RcmValue;
    auto& own = MakePort("//127.0.0.1/1/1");
    auto& other = MakePort("//127.0.0.1/1/2");
    EXPECT_EQ(Find(own, "streams"), std::nullopt);
    EXPECT_EQ(Load("- {service: GA, location: //127.0.0.1/1/1, values: {streams: 16}}\n"
                   "- {service: GA, values: {streams: 8, name: \"12\", rate: 1.5, fast: true}}\n"
                   "- {service: OTHER, values: {only/other: 1}}\n"),
              "nothing thrown");
    EXPECT_EQ(Find(own, "streams"), Value(std::int64_t{16}));
    EXPECT_EQ(Find(other, "streams"), Value(std::int64_t{8}));
    EXPECT_EQ(Find(own, "name"), Value(std::string("12")));
    EXPECT_EQ(Find(own, "rate"), Value(1.5));
    EXPECT_EQ(Find(own, "fast"), Value(true));
    EXPECT_EQ(Find(own, "only/other"), std::nullopt);
    core::RcmDBMgr::Instance().SetDBValue({"GA", "//127.0.0.1/1/2"}, "streams", std::int64_t{4});
    EXPECT_EQ(Find(other, "streams"), Value(std::int64_t{4}));
    EXPECT_EQ(Find(Project(), "streams"), Value(std::int64_t{8})) << "no port";
}

TEST_F(CapabilityTest, AFileThatIsWrongIsRefusedAsAWhole) {
    auto& port = MakePort();
    const std::string good = "- service: GA\n  values: {x: 1}\n";
    const std::pair<const char*, const char*> cases[] = {
        {"- values: {y: 2}\n", ":3: a group of capabilities needs a service"},
        {"- service: GA\n  values: [1]\n", ":4: values must be a map"},
        {"- service: GA\n  values: {y: [1]}\n", ":4: the value of y must be a single value"},
        {"- service: GA\n  values: {y: 1, y: 2}\n", ":4: y is given twice"},
        {"- service: GA\n  port: 1\n", ":4: unknown key port"},
        {"- service: [\n", ":4: "}};
    for (const auto& [rest, error] : cases) {
        EXPECT_THAT(Load(good + rest), HasSubstr(folder_ / "file.yaml" + error));
        EXPECT_EQ(Find(port, "x"), std::nullopt) << rest;
    }
    EXPECT_THROW(core::RcmDBMgr::Instance().Load(folder_ / "missing"), COrvRunTimeError);
}

struct InterfaceTest : ModulesTest {
    /// Interfaces of the named classes, each stacked on the one before; the last is the device's top.
    Interfaces MakeStack(core::CEmulatedDevice& device, const Strings& classes_from_link_layer) {
        Interfaces stack;
        for (const std::string& name : classes_from_link_layer) {
            auto& layer = dynamic_cast<core::CNetworkInterface&>(MakeByName(name, &device));
            if (!stack.empty()) Relate(layer, *stack.back(), ids::relations::StackedOn);
            stack.push_back(&layer);
        }
        Relate(device, *stack.back(), ids::relations::TopLevelIf);
        return stack;
    }
};

/// The values that identify one host, and the classes they are of, from the top down.
std::string Describe(const Interfaces& interfaces) {
    static const std::pair<ClassId, PropId> values[] = {
        {ids::Ipv4If::CLASS, ids::Ipv4If::Address},     {ids::Ipv6If::CLASS, ids::Ipv6If::Address},
        {ids::VlanIf::CLASS, ids::VlanIf::VlanId},      {ids::PppoeIf::CLASS, ids::PppoeIf::SessionId},
        {ids::EthIIIf::CLASS, ids::EthIIIf::SourceMac}, {ids::Aal5If::CLASS, ids::Aal5If::Vci}};
    std::string text;
    for (const auto* interface : interfaces)
        for (const auto& [class_id, property] : values) {
            if (!interface->IsTypeOf(class_id)) continue;
            std::string value;
            interface->Get(property, value);
            text += (text.empty() ? "" : " ") + value;
        }
    return text;
}

TEST_F(InterfaceTest, StacksAreListedBottomUpAndEnumeratedTopDownWithTheValuesOfEachHost) {
    const struct {
        Strings layers;  ///< from the link layer up
        std::vector<std::tuple<std::size_t, const char*, const char*>> settings;
        Strings hosts;
    } cases[] = {
        {{"EthIIIf", "VlanIf", "Ipv4If"},
         {{0, "SourceMac", "00:10:94:00:00:fe"},
          {1, "VlanId", "100"},
          {1, "IdStep", "10"},
          {2, "Address", "10.0.0.255"},
          {2, "AddrStep", "0.0.0.2"}},
         {"10.0.0.255 100 00:10:94:00:00:fe", "10.0.1.1 110 00:10:94:00:00:ff",
          "10.0.1.3 120 00:10:94:00:01:00"}},
        {{"EthIIIf", "VlanIf", "VlanIf", "Ipv6If"},
         {{0, "SrcMacStep", "00:00:00:00:00:00"},
          {1, "VlanId", "100"},
          {1, "IdStep", "1"},
          {1, "IdRepeatCount", "2"},
          {2, "VlanId", "1"},
          {2, "IdStep", "-1"},
          {3, "Address", "fe80::ffff:ffff"}},
         {"fe80::ffff:ffff 1 100 00:10:94:00:00:01", "fe80::1:0:0 0 100 00:10:94:00:00:01",
          "fe80::1:0:1 4095 101 00:10:94:00:00:01"}},
        {{"EthIIIf", "VlanIf", "Ipv4If"},  // lists replace steps and start again at their end
         {{0, "SrcMacList", "00:00:00:00:00:0a 00:00:00:00:00:0b"},
          {1, "IdList", "7 9"},
          {2, "AddrList", "10.0.0.1 10.0.0.9"}},
         {"10.0.0.1 7 00:00:00:00:00:0a", "10.0.0.9 9 00:00:00:00:00:0b", "10.0.0.1 7 00:00:00:00:00:0a"}},
        {{"Aal5If", "Ipv4If"}, {{0, "VciStep", "5"}}, {"192.85.1.3 100", "192.85.1.4 105"}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.layers));
        auto& device = MakeDevice(&MakePort(), static_cast<std::uint32_t>(c.hosts.size()));
        const Interfaces stack = MakeStack(device, c.layers);
        for (const auto& [layer, property, text] : c.settings) stack[layer]->Set(property, std::string(text));
        for (auto* layer : stack) layer->SetObjectState(CScriptable::STATE_UNCHANGED);
        const std::string of_tree = Describe(stack);
        Interfaces listed;
        stack.back()->GetNetworkInterfaceStack(listed);
        EXPECT_EQ(listed, stack);

        core::CNetworkInterfaceStackEnumerator enumerator(*stack.back());
        Strings hosts;
        for (std::uint32_t host = 0; host < enumerator.GetEndpointCount(); ++host) {
            Strings classes;
            for (const auto* each : enumerator.GetInterfaceList(host)) {
                classes.insert(classes.begin(), each->GetMetaClass()->GetName());
                EXPECT_EQ(each->GetHandle(), 0u) << "none of the tree";
            }
            EXPECT_EQ(classes, c.layers);
            hosts.push_back(Describe(enumerator.GetInterfaceList(host)));
        }
        EXPECT_EQ(hosts, c.hosts);
        EXPECT_EQ(Describe(enumerator.GetInterfaceList(0)), c.hosts.front()) << "asked for again";
        EXPECT_EQ(Describe(stack), of_tree);
        EXPECT_FALSE(stack.back()->IsObjectDirty(false));
        EXPECT_THROW(enumerator.GetInterfaceList(enumerator.GetEndpointCount()), COrvLogicError);
    }
}

TEST_F(InterfaceTest, StackCannotCloseIntoARingAndHasOneLayerBelow) {
    const auto stack = MakeStack(MakeDevice(nullptr), {"EthIIIf", "VlanIf", "Ipv4If"});
    std::string error;
    EXPECT_FALSE(stack[0]->AddObject(*stack[2], ids::relations::StackedOn, &error));
    EXPECT_THAT(error, HasSubstr("cannot be stacked on itself"));
    EXPECT_FALSE(stack[1]->AddObject(*stack[1], ids::relations::StackedOn, &error));
    EXPECT_FALSE(stack[2]->AddObject(*stack[0], ids::relations::StackedOn, &error)) << "a second layer below";
}

TEST_F(InterfaceTest, PortsNumberInterfacesFromOneWithoutGaps) {
    auto& port = MakePort("//127.0.0.1/1/1");
    auto& device = MakeDevice(&port);
    const auto make = [&]() -> auto& {
        return Make<core::CIpv4If>(&device);
    };
    auto &first = make(), &second = make(), &third = make();
    EXPECT_EQ(first.GetIlIfHandle(nullptr), 0u);
    EXPECT_EQ(second.GetIlIfHandle(&port), 1u);
    EXPECT_EQ(first.GetIlIfHandle(&port, &device), 2u);
    EXPECT_EQ(third.GetIlIfHandle(&port), 3u);
    EXPECT_EQ(third.GetIlIfHandle(&MakePort("//127.0.0.1/1/2")), 1u) << "each port counts for itself";
    EXPECT_EQ(second.GetIlIfHandle(&port, &first), 1u) << "whoever asks gets the same";
    first.Delete();
    EXPECT_EQ(third.GetIlIfHandle(&port), 3u);
    EXPECT_EQ(make().GetIlIfHandle(&port), 2u) << "the number that has become free";
    EXPECT_EQ(make().GetIlIfHandle(&port), 4u);
}

}  // namespace
