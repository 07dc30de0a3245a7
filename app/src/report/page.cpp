#include "page.h"

#include <array>
#include <nlohmann/json.hpp>
#include <string_view>

#include "comparison.h"
#include "program_version.h"
#include "report_page.h"
#include "reported_run.h"

namespace orv::app {

namespace {

/// Text that is a JSON document still, and in which HTML finds no mark-up.
std::string EscapeForHtml(const std::string& json) {
    constexpr std::array<std::pair<std::string_view, std::string_view>, 5> kEscapes{
        {{"<", "\\u003c"},
         {">", "\\u003e"},
         {"&", "\\u0026"},
         {"\xe2\x80\xa8", "\\u2028"},
         {"\xe2\x80\xa9", "\\u2029"}}};
    std::string text;
    text.reserve(json.size() + json.size() / 16);
    for (std::size_t at = 0; at < json.size();) {
        const std::string_view rest = std::string_view(json).substr(at);
        std::size_t taken = 0;
        for (const auto& [mark, escape] : kEscapes) {
            if (!rest.starts_with(mark)) continue;
            text += escape;
            taken = mark.size();
        }
        if (taken == 0) text += json[at];
        at += taken == 0 ? 1 : taken;
    }
    return text;
}

}  // namespace

std::string MakePage(const PageJson& data) {
    const std::string json = data.dump(-1, ' ', false, PageJson::error_handler_t::replace);
    return std::string(kReportPageBegin) + EscapeForHtml(json) + std::string(kReportPageEnd);
}

std::string MakeReport(const std::vector<std::filesystem::path>& databases,
                       std::optional<std::uint32_t> data_set) {
    std::vector<ReportedRun> runs;
    for (const auto& database : databases) runs.emplace_back(database, data_set);
    PageLimits limits;
    // All databases have the same share.
    for (std::size_t* limit :
         {&limits.rows, &limits.points, &limits.port_points, &limits.histograms, &limits.test_file})
        *limit /= runs.size();
    PageJson data{{"version", kProgramVersion}, {"runs", PageJson::array()}};
    for (const ReportedRun& run : runs) {
        PageLimits of_run = limits;
        data["runs"].push_back(MakeRunJson(run, of_run));
    }
    if (runs.size() > 1) data["comparison"] = CompareRuns(runs);
    return MakePage(data);
}

}  // namespace orv::app
