// Results, and subscriptions to their changes.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "orv/common/delegate.h"
#include "orv/framework/scriptable.h"

namespace orv::core {

using common::ClassId;
using framework::CScriptable;
using framework::ScriptableVec;

/// Base of result objects: children of the configuration object that was measured, related to it by
/// ResultChild.
class CResult : public CScriptable {
  public:
    static ClassId CLASS_ID();
    /// Notifies the subscribers that all properties of an update have been set.
    virtual void UpdateFinished();
    /// Brings what is worked out only on request up to date. Called under the task lock; returns at once.
    virtual void Refresh() {}
};

/// A subscription to the results of a class below some objects.
struct ResultSubscription {
    std::uint32_t id = 0;  ///< given by CResultModule::Subscribe
    ClassId result_class;
    std::vector<std::uint32_t> parent_handles;
};

/// Finds the configuration objects whose results a subscription covers.
class CResultLocator {
  public:
    virtual ~CResultLocator();
    virtual void GetResultParents(const ResultSubscription& subscription, ScriptableVec& parents) = 0;
};

/// A plug-in's side of results: which classes it has, and what to do on subscriptions and at the end of an
/// iteration.
class CResultHandler {
  public:
    /// (class of the configuration object, class of its result)
    using ResultType = std::pair<ClassId, ClassId>;

    virtual ~CResultHandler();
    virtual std::string GetName() const = 0;
    virtual std::vector<ResultType> GetResultTypeVector() const = 0;
    virtual void HandleSubscribe(const ResultSubscription& subscription) = 0;
    virtual void HandleUnsubscribe(std::uint32_t subscriptionId) = 0;
    /// Called after the subscriptions have changed.
    virtual void UpdateSubscription() = 0;
    virtual void HandleRequest(const std::string& request) = 0;
    /// Called when results are collected and saved for one iteration.
    virtual void CollectAndSave(bool endOfTest, std::set<ClassId> classes) = 0;
};

/// Which results belong to which subscriptions.
class CSubscriptionInfoMap {
  public:
    CSubscriptionInfoMap(const std::vector<ResultSubscription>& subscriptions, CResultLocator& locator);

    /// Delivers every result that exists now.
    void NotifyResults() const;
    /// From now on each UpdateFinished of such a result, and of those created later, is delivered.
    void AddAsyncListeners() const;
    void RemoveAsyncListeners() const;
    /// Notifies the subscribers that the results no longer belong to them.
    void NotifyDeleted() const;

  private:
    struct Entry {
        ResultSubscription subscription;
        std::vector<std::uint32_t> parents;
    };
    std::vector<Entry> entries_;
};

/// Result handlers of the plug-ins, and the subscribers.
class CResultModule {
  public:
    /// (subscription id, the result, or null when the subscription has lost its results)
    using Subscriber = std::function<void(std::uint32_t, CResult*)>;

    static CResultModule& Instance();

    /// The handler is the caller's. `first` puts it before those registered already. A second handler of the
    /// same name throws COrvLogicError.
    void RegisterResultHandler(CResultHandler* handler, bool first);
    const std::vector<CResultHandler*>& GetHandlers() const { return handlers_; }

    /// Asks the handler that has the result class. Throws COrvRunTimeError when none has.
    std::uint32_t Subscribe(ClassId resultClass, std::vector<std::uint32_t> parentHandles,
                            Subscriber subscriber);
    void Unsubscribe(std::uint32_t id);

  private:
    friend class CResult;
    friend class CSubscriptionInfoMap;
    using ListenerKey = std::pair<std::uint32_t, ClassId>;  ///< parent's handle, result class

    void Deliver(std::uint32_t id, CResult* result) const;
    void ResultUpdated(CResult& result) const;

    std::vector<CResultHandler*> handlers_;
    std::map<std::uint32_t, std::pair<CResultHandler*, Subscriber>> subscribers_;
    std::map<ListenerKey, std::set<std::uint32_t>> listeners_;
    std::uint32_t next_id_ = 1;
};

/// Plug-ins that want to know when a user clears results.
class CClearResultHandlerRegistry {
  public:
    using Handler = common::Delegate<void(const std::vector<std::uint32_t>&)>;
    using DelegateSet = std::vector<Handler>;

    static CClearResultHandlerRegistry& Instance();
    void RegisterClearResultHandler(const DelegateSet& handlers);
    void RegisterClearResultHandler(const Handler& handler) {
        RegisterClearResultHandler(DelegateSet{handler});
    }
    /// Calls every handler with the handles of the objects whose results are cleared.
    void ClearResults(const std::vector<std::uint32_t>& handles) const;

  private:
    DelegateSet handlers_;
};

}  // namespace orv::core
