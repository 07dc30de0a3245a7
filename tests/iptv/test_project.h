// A project to test with: a host, and the objects of an IPTV test made in one call each.
#pragma once

#include <concepts>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "IptvCreation.h"
#include "config/IptvChannelBlock.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "orv/core/emulated_device.h"
#include "orv/core/host_application.h"
#include "orv/core/network_interface.h"
#include "orv/core/port.h"
#include "orv/framework/logger.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/static_registration.h"
#include "orv/igmpmld/multicast_host_config.h"
#include "orv/mcastcore/multicast_group.h"

namespace testing_aids {

/// Layers of a device between Ethernet and IP, and the IP version.
struct Stack {
    bool ipv6 = false;
    int vlans = 0;
    bool pppoe = false;
};

/// Everything is made with the data model's defaults unless said otherwise; what it makes is valid.
struct TestProject {
    explicit TestProject(orv::framework::ClockKind clock = orv::framework::ClockKind::Virtual);
    /// Also puts the plug-in's process-wide state back: no test runs, no check flag is set.
    ~TestProject();

    orv::core::CHostApplication& Host() { return host_; }
    orv::framework::CScriptable& Root();
    /// The object of that name, which is below the project.
    orv::framework::CScriptable& Find(const std::string& name);
    /// "<object>.<property>=<value>"
    void Put(const std::string& assignment);

    orv::core::CPort& MakePort(const std::string& name = "");
    /// A device with an interface stack, and a multicast host configuration (IGMP, or MLD for IPv6) that uses
    /// its IP interface. Without port for null.
    orv::core::CEmulatedDevice& MakeDevice(orv::core::CPort* port, std::uint32_t count = 1, Stack stack = {},
                                           const std::string& name = "");
    /// The device's multicast host configuration.
    static orv::igmpmld::CMulticastHostConfig& McastOf(const orv::core::CEmulatedDevice& device);
    /// The layer of a device of that class ("VlanIf"), the `nth` from the link layer up.
    static orv::core::CNetworkInterface& LayerOf(const orv::core::CEmulatedDevice& device,
                                                 const std::string& class_name, int nth = 0);

    /// Numbers `count` addresses of a new group from `start` on. The group is named "<name> group".
    orv::iptv::CIptvChannelBlock& MakeChannelBlock(const std::string& name, std::uint32_t start,
                                                   std::uint32_t count, bool ipv6 = false);
    static orv::mcastcore::CMulticastGroup& GroupOf(const orv::iptv::CIptvChannelBlock& block);
    /// Channels `start` to `end`, viewed from the first on, one channel further for each set-top box.
    orv::iptv::CIptvViewedChannels& MakeRange(const orv::iptv::CIptvChannelBlock& block, std::uint32_t start,
                                              std::uint32_t end, const std::string& name = "");
    orv::iptv::CIptvViewingProfileConfig& MakeProfile(const std::string& name = "");
    /// A block of the device's hosts, related to all it needs.
    orv::iptv::CIptvStbBlockConfig& MakeStbBlock(orv::core::CEmulatedDevice& device,
                                                 orv::iptv::CIptvViewingProfileConfig& profile,
                                                 const std::vector<orv::iptv::CIptvViewedChannels*>& ranges,
                                                 const std::string& name = "");

    /// Relates two objects; a refusal is a test failure that says why.
    static void Relate(orv::framework::CScriptable& from, orv::framework::CScriptable& to,
                       orv::common::RelationType type);
    /// As after an apply that succeeded: nothing is dirty.
    void Settle();

  private:
    template <class T>
    T& Make(orv::framework::CScriptable& parent, const std::string& name, const std::string& class_name = "");

    orv::core::CHostApplication host_;
};

/// A change of a scene, which has a `project`: "<object>.<property>=<value>", or what a function does.
template <class Scene>
struct EditOf : std::function<void(Scene&)> {
    EditOf() = default;
    EditOf(const char* assignment) : EditOf(std::string(assignment)) {}
    EditOf(const std::string& assignment)
        : std::function<void(Scene&)>([assignment](Scene& scene) { scene.project.Put(assignment); }) {}
    template <class F>
    requires std::invocable<const F&, Scene&> EditOf(F edit) : std::function<void(Scene&)>(std::move(edit)) {}
};

/// What is logged while it lives, off the console. The plug-in's traces are on.
struct LogCapture {
    LogCapture();
    ~LogCapture();
    /// "<logger> <level>: <text>" of what was logged since the last call.
    std::vector<std::string> Take() { return std::exchange(lines_, {}); }

  private:
    std::vector<std::string> lines_;
    int listener_;
};

/// While it lives, no object of a class can be made: there is one, and the class allows no other.
struct NoOther {
    explicit NoOther(const std::string& class_name);
    ~NoOther() { is_singleton_ = false; }
    NoOther& operator=(NoOther&&) = delete;  // nor is it copied

  private:
    bool& is_singleton_;
    orv::iptv::OwnedScriptable one_;
};

/// A class that the data model derives from `base`, although its objects are no objects of the C++ class of
/// `base` but of `T`. Known until the process ends.
template <class T>
orv::common::ClassId DeclareOddClass(orv::common::ClassId id, const std::string& name,
                                     const std::string& base) {
    auto& classes = orv::framework::CMetaClassManager::Instance();
    if (!classes.GetClass(id)) {
        const orv::framework::StaticRegisterClass<T> registration(id);
        orv::framework::CMetaClass::Definition definition;
        definition.id = id;
        definition.name = name;
        definition.base = classes.GetClass(base, nullptr, true);
        classes.AddClass(std::move(definition));
    }
    return id;
}

}  // namespace testing_aids
