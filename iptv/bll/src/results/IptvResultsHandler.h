// The plug-in's handler for the host's result subscriptions and saving.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "orv/core/result.h"

namespace orv::iptv {

using common::ClassId;

/// Finds the objects whose results a subscription asks for.
class CIptvResultLocator : public core::CResultLocator {
  public:
    static CIptvResultLocator& Instance();

    /// Appends the objects of the subscription's class at or below its parents, skipping inactive parents;
    /// stops at the first parent that no longer exists.
    void GetResultParents(const core::ResultSubscription& subscription,
                          framework::ScriptableVec& parents) override;
};

/// Serves subscriptions to results of a running test, and saves single iterations.
class CIptvResultsHandler : public core::CResultHandler {
  public:
    static CIptvResultsHandler* Instance();

    std::string GetName() const override { return "CIptvResultsHandler"; }
    std::vector<ResultType> GetResultTypeVector() const override;
    void HandleSubscribe(const core::ResultSubscription& subscription) override;
    void HandleUnsubscribe(std::uint32_t subscriptionId) override;
    void UpdateSubscription() override;
    void HandleRequest(const std::string&) override {}
    /// Call after an iteration of a sequence. If each iteration has its own database, moves the database to
    /// the others, and adds a node that shows the iteration's outcome.
    void CollectAndSave(bool endOfTest, std::set<ClassId> classes) override;

  private:
    std::map<std::uint32_t, core::ResultSubscription> subscriptions_;
    std::vector<core::ResultSubscription> removed_;
};

}  // namespace orv::iptv
