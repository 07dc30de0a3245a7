#include "results/IptvTestResults.h"

#include <fmt/format.h>

#include <ctime>
#include <optional>

#include "ClassRegistration.h"
#include "orv/ids/framework_ids.h"
#include "orv/ids/iptv_ids.h"
#include "results/IptvResultsManager.h"

namespace orv::iptv {

namespace TestResultsId = ids::IptvTestResults;

namespace {

/// "2026/01/31 23:59:00"; no value if the clock cannot be read.
std::optional<std::string> GetLocalTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    if (now == static_cast<std::time_t>(-1) || !localtime_r(&now, &local)) return std::nullopt;
    return fmt::format("{:04}/{:02}/{:02} {:02}:{:02}:{:02}", local.tm_year + 1900, local.tm_mon + 1,
                       local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec);
}

}  // namespace

void CIptvTestResults::SetTestParams(const std::string& testName) {
    SetT<std::string>(ids::Scriptable::Name, "IptvTestResults " + std::to_string(GetHandle()));
    if (auto now = GetLocalTime()) SetT<std::string>(TestResultsId::TestStartTime, std::move(*now));
    SetT<std::string>(TestResultsId::TestName, testName);
}

void CIptvTestResults::SetEndTime() {
    if (auto now = GetLocalTime()) SetT<std::string>(TestResultsId::TestEndTime, std::move(*now));
}

void CIptvTestResults::Refresh() {
    if (auto* manager = CIptvResultsManager::FindResultsManager()) manager->RefreshDistributions();
}

IPTV_REGISTER_CLASS(CIptvTestResults);

}  // namespace orv::iptv
