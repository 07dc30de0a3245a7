#include "orv/core/result.h"

#include <algorithm>

#include "orv/framework/handle_registry.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/static_registration.h"
#include "orv/ids/framework_ids.h"

namespace orv::core {

ClassId CResult::CLASS_ID() {
    return ids::Result::CLASS;
}
void CResult::UpdateFinished() {
    CResultModule::Instance().ResultUpdated(*this);
}

CResultLocator::~CResultLocator() = default;
CResultHandler::~CResultHandler() = default;

CSubscriptionInfoMap::CSubscriptionInfoMap(const std::vector<ResultSubscription>& subscriptions,
                                           CResultLocator& locator) {
    for (const ResultSubscription& subscription : subscriptions) {
        ScriptableVec parents;
        locator.GetResultParents(subscription, parents);
        Entry entry{subscription, {}};
        for (const CScriptable* parent : parents) entry.parents.push_back(parent->GetHandle());
        entries_.push_back(std::move(entry));
    }
}

void CSubscriptionInfoMap::NotifyResults() const {
    for (const Entry& entry : entries_) {
        for (const std::uint32_t handle : entry.parents) {
            const CScriptable* parent = framework::CHandleRegistry::Instance().Find(handle);
            if (!parent) continue;
            ScriptableVec results;
            parent->GetObjects(results, entry.subscription.result_class, ids::relations::ResultChild);
            for (CScriptable* object : results) {
                if (auto* result = dynamic_cast<CResult*>(object)) {
                    CResultModule::Instance().Deliver(entry.subscription.id, result);
                }
            }
        }
    }
}

void CSubscriptionInfoMap::AddAsyncListeners() const {
    for (const Entry& entry : entries_) {
        for (const std::uint32_t handle : entry.parents) {
            CResultModule::Instance().listeners_[{handle, entry.subscription.result_class}].insert(
                entry.subscription.id);
        }
    }
}

void CSubscriptionInfoMap::RemoveAsyncListeners() const {
    auto& listeners = CResultModule::Instance().listeners_;
    for (const Entry& entry : entries_) {
        for (const std::uint32_t handle : entry.parents) {
            const auto found = listeners.find({handle, entry.subscription.result_class});
            if (found == listeners.end()) continue;
            found->second.erase(entry.subscription.id);
            if (found->second.empty()) listeners.erase(found);
        }
    }
}

void CSubscriptionInfoMap::NotifyDeleted() const {
    for (const Entry& entry : entries_) CResultModule::Instance().Deliver(entry.subscription.id, nullptr);
}

CResultModule& CResultModule::Instance() {
    static CResultModule module;
    return module;
}

void CResultModule::RegisterResultHandler(CResultHandler* handler, bool first) {
    for (const CResultHandler* known : handlers_) {
        if (known->GetName() == handler->GetName()) {
            throw common::COrvLogicError("result handler " + handler->GetName() + " is registered already");
        }
    }
    handlers_.insert(first ? handlers_.begin() : handlers_.end(), handler);
}

std::uint32_t CResultModule::Subscribe(ClassId resultClass, std::vector<std::uint32_t> parentHandles,
                                       Subscriber subscriber) {
    for (CResultHandler* handler : handlers_) {
        const auto types = handler->GetResultTypeVector();
        const bool has_class = std::any_of(types.begin(), types.end(), [resultClass](const auto& type) {
            return type.second == resultClass;
        });
        if (!has_class) continue;
        const std::uint32_t id = next_id_++;
        subscribers_[id] = {handler, std::move(subscriber)};
        handler->HandleSubscribe({id, resultClass, std::move(parentHandles)});
        handler->UpdateSubscription();
        return id;
    }
    const auto* meta_class = framework::CMetaClassManager::Instance().GetClass(resultClass);
    throw common::COrvRunTimeError(
        "no result handler has results of the class " +
        (meta_class ? meta_class->GetName() : std::to_string(resultClass.GetValue())));
}

void CResultModule::Unsubscribe(std::uint32_t id) {
    const auto found = subscribers_.find(id);
    if (found == subscribers_.end()) return;
    CResultHandler* handler = found->second.first;
    handler->HandleUnsubscribe(id);
    handler->UpdateSubscription();  // delivers the last update, so the subscriber is removed afterwards
    subscribers_.erase(id);
}

void CResultModule::Deliver(std::uint32_t id, CResult* result) const {
    const auto found = subscribers_.find(id);
    if (found != subscribers_.end() && found->second.second) found->second.second(id, result);
}

void CResultModule::ResultUpdated(CResult& result) const {
    if (listeners_.empty() || !result.GetParent()) return;
    const auto found = listeners_.find({result.GetParent()->GetHandle(), result.GetClassId()});
    if (found == listeners_.end()) return;
    for (const std::uint32_t id : std::set<std::uint32_t>(found->second)) Deliver(id, &result);
}

CClearResultHandlerRegistry& CClearResultHandlerRegistry::Instance() {
    static CClearResultHandlerRegistry registry;
    return registry;
}

void CClearResultHandlerRegistry::RegisterClearResultHandler(const DelegateSet& handlers) {
    handlers_.insert(handlers_.end(), handlers.begin(), handlers.end());
}

void CClearResultHandlerRegistry::ClearResults(const std::vector<std::uint32_t>& handles) const {
    for (const Handler& handler : handlers_) handler(handles);
}

}  // namespace orv::core
