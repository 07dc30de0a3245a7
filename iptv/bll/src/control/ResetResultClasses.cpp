#include "control/ResetResultClasses.h"

#include "FindByHandle.h"
#include "IptvErrors.h"
#include "IptvLog.h"
#include "config/IptvStbBlockConfig.h"
#include "config/IptvViewedChannels.h"
#include "config/IptvViewingProfileConfig.h"
#include "orv/core/emulated_device.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvChannelResults.h"
#include "results/IptvPortResults.h"
#include "results/IptvStbBlockResults.h"
#include "results/IptvTestResults.h"
#include "results/IptvViewingProfileResults.h"

namespace orv::iptv {

namespace {

/// Where an object of the wrong class was found, for the report.
struct Iterator {
    const char* object;
    const char* name;
};

template <class T>
T& CastOrThrow(CScriptable& object, const Iterator& iterator) {
    if (T* wanted = dynamic_cast<T*>(&object)) return *wanted;
    ThrowLookupFailure({iterator.object, iterator.name, "CIptvStartTestCommand::ResetResultClasses"},
                       iterator.name);
}

template <class T, class Work>
void ForEachChild(const CScriptable& parent, const Iterator& iterator, const Work& work) {
    framework::ScriptableVec children;
    parent.GetObjects(children, T::CLASS_ID(), common::kParentChild);
    for (CScriptable* child : children) work(CastOrThrow<T>(*child, iterator));
}

/// Clears the results of class Result of every child of class Owner.
template <class Owner, class Result>
void ResetResultsOf(const CScriptable& parent, const Iterator& iterator) {
    ForEachChild<Owner>(parent, iterator, [&iterator](const Owner& owner) {
        ForEachChild<Result>(owner, iterator, [](Result& result) {
            result.MarkDelete(true, true);
            result.ResetResults();
        });
    });
}

void ResetProject(const core::CProject& project) {
    ResetResultsOf<CIptvViewingProfileConfig, CIptvViewingProfileResults>(
        project, {"IptvViewingProfileConfig", "ViewProfileIterator"});
    ResetResultsOf<CIptvViewedChannels, CIptvChannelResults>(project,
                                                             {"IptvViewedChannels", "ViewedChannelIterator"});
    ForEachChild<core::CEmulatedDevice>(project, {"EmulatedDevice", "EmulatedDeviceIterator"},
                                        [](const core::CEmulatedDevice& device) {
                                            ResetResultsOf<CIptvStbBlockConfig, CIptvStbBlockResults>(
                                                device, {"IptStbBlockConfig ", "StbIterator"});
                                        });
    ResetResultsOf<core::CPort, CIptvPortResults>(project, {"Port", "portIterator"});

    framework::ScriptableVec tests;
    project.GetObjects(tests, CIptvTestResults::CLASS_ID(), common::kParentChild);
    for (CScriptable* test : tests) {
        test->MarkDelete(true, true);
        test->Set(ids::IptvTestResults::TestResult, ids::TestOutcome::NONE);
    }
}

}  // namespace

void ResetResultClasses(const std::vector<std::uint32_t>& handles) {
    Trace([] {
        return "CIptvStartTestCommand::ResetResultClasses Resetting all result classes back to zero ";
    });
    for (const std::uint32_t handle : handles) {
        if (const auto* project = FindByHandle<core::CProject>(handle)) ResetProject(*project);
    }
}

}  // namespace orv::iptv
