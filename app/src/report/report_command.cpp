#include "report/report_command.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include "report/page.h"
#include "results_viewer/guarded.h"
#include "results_viewer/results_database.h"
#include "run/output_files.h"

namespace orv::app {

namespace fs = std::filesystem;

void WriteReport(const ReportRequest& request) {
    const std::string page = MakeReport(request.databases, request.data_set);
    errno = 0;
    std::ofstream file(request.page, std::ios::binary);
    file << page;
    file.close();
    if (!file) {
        throw ResultsFailure(
            fmt::format("{} cannot be written: {}", request.page.string(), std::strerror(errno)));
    }
}

void WriteNoticeOfBreakOff(const fs::path& page) {
    std::ofstream(page)
        << "<!DOCTYPE html>\n<html lang=\"en\">\n<meta charset=\"utf-8\">\n<title>IPTV test "
           "report</title>\n<p>The run was ended at once, so there is no report. <code>iptvtest "
           "report</code> makes one of what its database holds.</p>\n";
}

int MakeReportFile(const ReportRequest& request, std::ostream& err) {
    return RunGuarded(err, [&request] {
        // Databases are not overwritten, whichever they are.
        OutputFiles outputs;
        for (const fs::path& database : request.databases)
            outputs.AddInput("the database", FindDatabase(database));
        const std::string problem = outputs.AddOutput("--output", request.page, OutputFiles::Kind::Report);
        if (!problem.empty()) throw ResultsError("--output: " + problem);
        WriteReport(request);
    });
}

}  // namespace orv::app
