// The defaults of the data model.
#include <gtest/gtest.h>

#include "orv/framework/validation.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "test_project.h"

namespace {

using namespace orv;  // NOLINT: a test
using framework::CScriptableCreator;

/// Nothing but defaults, and the relations without which there is no test.
TEST(Defaults, AProjectMadeOnlyOfDefaultsIsValid) {
    for (const bool ipv6 : {false, true}) {
        testing_aids::TestProject project;
        auto& root = project.Root();
        auto& channels = CScriptableCreator().Make<iptv::CIptvChannelBlock>(&root);
        auto& group = *CScriptableCreator().Create(ipv6 ? "Ipv6Group" : "Ipv4Group", &root);
        project.Relate(channels, group, ids::relations::MulticastParam);
        auto& range = CScriptableCreator().Make<iptv::CIptvViewedChannels>(&root);
        range.Set(ids::IptvViewedChannels::ChannelBlock, channels.GetHandle());
        auto& device = project.MakeDevice(&project.MakePort(), 1, {.ipv6 = ipv6});
        project.MakeStbBlock(device, project.MakeProfile(), {&range});

        // Also for the tests that look at more.
        iptv::RunningTest::SetRules({.fcc_check = true, .trigger_delay_check = true});
        framework::ValidationContext context;
        framework::ValidatorRegistry::Instance().ValidateTree(root, context);
        EXPECT_FALSE(framework::ValidatorRegistry::Instance().GetValidators().empty());
        for (const auto& report : context.GetErrors())
            ADD_FAILURE() << report.object << ": " << report.message;
    }
}

}  // namespace
