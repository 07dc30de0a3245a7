// Where the results of a test go when their file cannot be written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "class_table.h"

namespace orv::results {

/// Folders in which a file in place of `path` can be made, best first.
std::vector<std::string> GetRecoveryFolders(const std::string& path);

/// Makes an empty file NAME.recovered-N.db in the folder, with the first N that is free, and returns its
/// path. Throws COrvRunTimeError when none can be made.
std::string MakeRecoveryFile(const std::string& folder, const std::string& path);

/// Replaces what the open database holds of a data set by what the file `from` does. One transaction; throws
/// SqliteError, and then nothing has changed.
void CopyDataSet(SqliteConnection& connection, TableCatalogue& catalogue, const std::string& from,
                 std::uint32_t data_set);

}  // namespace orv::results
