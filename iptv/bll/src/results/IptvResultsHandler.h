// The plug-in's side of the host's results.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "orv/core/result.h"

namespace orv::iptv {

using common::ClassId;

/// Finds the objects whose results a subscription wants.
class CIptvResultLocator : public core::CResultLocator {
  public:
    static CIptvResultLocator& Instance();

    /// Appends the objects of the subscription's class at or below its parents; stops at the first parent
    /// that is gone. Inactive parents are left out.
    void GetResultParents(const core::ResultSubscription& subscription,
                          framework::ScriptableVec& parents) override;
};

/// Serves those who want to see results while a test runs, and the saving of single iterations.
class CIptvResultsHandler : public core::CResultHandler {
  public:
    static CIptvResultsHandler* Instance();

    std::string GetName() const override { return "CIptvResultsHandler"; }
    std::vector<ResultType> GetResultTypeVector() const override;
    void HandleSubscribe(const core::ResultSubscription& subscription) override;
    void HandleUnsubscribe(std::uint32_t subscriptionId) override;
    void UpdateSubscription() override;
    void HandleRequest(const std::string&) override {}
    /// After an iteration of a sequence whose test has a database for each: moves the iteration's database to
    /// the others, and adds a node that shows how the iteration ended.
    void CollectAndSave(bool endOfTest, std::set<ClassId> classes) override;

  private:
    std::map<std::uint32_t, core::ResultSubscription> subscriptions_;
    std::vector<core::ResultSubscription> removed_;
};

}  // namespace orv::iptv
