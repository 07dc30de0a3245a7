// The command "iptvtest report".
#pragma once

#include <cstdint>
#include <filesystem>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace orv::app {

struct ReportRequest {
    std::vector<std::filesystem::path> databases;  ///< or their paths without ".db"
    std::filesystem::path page;
    std::optional<std::uint32_t> data_set;  ///< empty: the latest one
};

/// Makes the page and writes it; nothing is written when a database cannot be read. Throws ResultsError and
/// ResultsFailure.
void WriteReport(const ReportRequest& request);

/// Writes a page that says that the run was ended at once, and how to get its report. Errors are ignored.
void WriteNoticeOfBreakOff(const std::filesystem::path& page);

/// WriteReport as a command, which overwrites no database; errors go to `err`. Returns the exit status: 0; 2
/// after bad input; 3 when memory or disk space runs out, or the page cannot be written.
int MakeReportFile(const ReportRequest& request, std::ostream& err);

}  // namespace orv::app
