// The HTML page of a report.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "packed_column.h"

namespace orv::app {

/// The page with its data, which its script reads. Whatever the texts in the data are, they stay data.
std::string MakePage(const PageJson& data);

/// One page about the latest run in each database, or about the run of a data set. Each further database is
/// compared with the first one. Throws ResultsError or ResultsFailure.
std::string MakeReport(const std::vector<std::filesystem::path>& databases,
                       std::optional<std::uint32_t> data_set = {});

}  // namespace orv::app
