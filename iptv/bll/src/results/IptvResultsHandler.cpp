#include "results/IptvResultsHandler.h"

#include <algorithm>

#include "orv/core/orv_system.h"
#include "orv/core/port.h"
#include "orv/core/project.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/ids/iptv_ids.h"

namespace orv::iptv {

CIptvResultLocator& CIptvResultLocator::Instance() {
    static CIptvResultLocator locator;
    return locator;
}

void CIptvResultLocator::GetResultParents(const core::ResultSubscription& subscription,
                                          framework::ScriptableVec& parents) {
    const auto types = CIptvResultsHandler::Instance()->GetResultTypeVector();
    const auto type = std::find_if(types.begin(), types.end(), [&subscription](const auto& pair) {
        return pair.second == subscription.result_class;
    });
    if (type == types.end()) return;
    framework::ScriptableVec roots;
    for (const std::uint32_t handle : subscription.parent_handles) {
        framework::CScriptable* root = framework::CHandleRegistry::Instance().Find(handle);
        if (!root) break;
        roots.push_back(root);
    }
    for (const framework::CScriptable* root : roots) {
        framework::CScriptableLocator::Instance().GetObjectsEx(
            parents, type->first, root, framework::CScriptableLocator::LOCATE_SKIP_INACTIVE_ROOTS);
    }
}

CIptvResultsHandler* CIptvResultsHandler::Instance() {
    static CIptvResultsHandler handler;
    return &handler;
}

std::vector<core::CResultHandler::ResultType> CIptvResultsHandler::GetResultTypeVector() const {
    return {{ids::IptvStbBlockConfig::CLASS, ids::IptvStbBlockResults::CLASS},
            {ids::IptvViewedChannels::CLASS, ids::IptvChannelResults::CLASS},
            {core::CPort::CLASS_ID(), ids::IptvPortResults::CLASS},
            {core::CProject::CLASS_ID(), ids::IptvTestResults::CLASS},
            {ids::IptvViewingProfileConfig::CLASS, ids::IptvViewingProfileResults::CLASS}};
}

void CIptvResultsHandler::HandleSubscribe(const core::ResultSubscription& subscription) {
    subscriptions_[subscription.id] = subscription;
}

void CIptvResultsHandler::HandleUnsubscribe(std::uint32_t subscriptionId) {
    const auto found = subscriptions_.find(subscriptionId);
    if (found == subscriptions_.end()) return;
    removed_.push_back(found->second);
    subscriptions_.erase(found);
}

void CIptvResultsHandler::UpdateSubscription() {
    std::vector<core::ResultSubscription> current;
    for (const auto& [id, subscription] : subscriptions_) current.push_back(subscription);
    auto& locator = CIptvResultLocator::Instance();
    const core::CSubscriptionInfoMap now(current, locator);
    const core::CSubscriptionInfoMap before(removed_, locator);
    now.NotifyResults();
    now.AddAsyncListeners();
    before.NotifyDeleted();
    before.RemoveAsyncListeners();
    removed_.clear();
}

}  // namespace orv::iptv
