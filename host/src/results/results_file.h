// One results file, as the writer thread uses it.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "class_table.h"
#include "packed_table.h"

namespace orv::results {

/// Texts by name.
using Description = std::vector<std::pair<std::string, std::string>>;

/// What begins with a test.
struct NewDataSet {
    std::string path;
    std::string category;
    std::string start_time;
    int iteration = 0;
    std::vector<const framework::CMetaClass*> classes;    ///< those that get a table even without a row
    const framework::CMetaClass* device_class = nullptr;  ///< whose objects are in AllDevice too
    Description description;
};

/// That a data set goes on in another file than the one that was asked for.
struct Detour {
    std::string from;
    std::string to;
    std::string reason;
    bool has_all = true;  ///< false: what was stored before could not be read, and stays where it is
};

/// The file of the current data set. Every operation is one transaction, and throws SqliteError or
/// COrvRunTimeError when it could not be done; then nothing of it is in the file.
///
/// A data set whose file cannot be written (any more) goes on in a new one beside it, NAME.recovered-N.db,
/// which gets what has been stored of it already; in the folder for temporary files where none can be made
/// beside it. Operations throw only when that fails, too, or when the new file cannot be written in the end.
///
/// While the data set is open the file is in WAL mode: others read it meanwhile, and what was committed
/// outlives a crash of the program. After Finalise it is closed; a later operation opens it for its own time.
class ResultsFile {
  public:
    explicit ResultsFile(std::chrono::milliseconds lock_wait) : lock_wait_(lock_wait) {}
    ~ResultsFile() { Close(); }

    /// Closes the file of the data set before, opens this one's (making its folders and itself) and returns
    /// the id of the new data set.
    std::uint32_t Begin(NewDataSet data_set);
    void Write(const RowGroup& rows);
    /// Rows that have not been written before.
    void Write(const core::PackedRows& rows);
    /// The data set's relations are those of the group from now on.
    void WriteWithRelations(const RowGroup& rows);
    void SetRootNode(std::uint32_t handle);
    void SetTestCommand(std::uint32_t handle);
    void AddIterationDatabase(std::uint32_t node_handle, const std::string& path);
    /// Also for the data sets of the same file that this object has begun before.
    void Describe(const std::string& name, const std::string& text);
    void Finalise(const std::string& end_time, const std::string& wall_clock_time);
    /// Closes the file as it is, as one file where possible.
    void Close() noexcept;

    /// Begins the data set in memory, in a database that has been made by the statements of `schema`. Throws
    /// as Begin would for a file with that schema, which stays as it is.
    static void Rehearse(NewDataSet data_set, const std::vector<std::string>& schema);

    /// Once for each detour, after the operation that took it.
    std::optional<Detour> TakeDetour() { return std::exchange(detour_, std::nullopt); }

  private:
    template <class Work>
    void InTransaction(const Work& work);
    template <class Work>
    void Attempt(const Work& work);
    /// Makes a data set with the id, or with the next free one for 0.
    void SetUp(std::uint32_t id);
    std::uint32_t MakeDataSet(std::uint32_t id);
    void InsertDataSet(std::uint32_t id);
    bool GoOnBeside(const std::string& reason);
    bool CopyFrom(const std::string& path);
    void Open(SqliteConnection::Mode mode);
    void EnterWalMode();
    void EnsureOwnTables();
    void StoreText(std::uint32_t id, const std::string& name, const std::string& text);
    void WriteRows(const RowGroup& rows);
    ClassTable& FindOrMakeTable(const framework::CMetaClass& meta_class);
    void SetHandle(const char* column, std::uint32_t handle);
    void BecomeOneFile();
    void ForgetTables() noexcept;
    void Drop() noexcept;

    const std::chrono::milliseconds lock_wait_;
    NewDataSet data_set_;
    std::uint32_t id_ = 0;
    std::vector<std::uint32_t> begun_;  ///< in this file, the current one included
    bool has_left_ = false;             ///< the file that was asked for
    std::optional<Detour> detour_;
    std::unique_ptr<SqliteConnection> connection_;
    std::optional<TableCatalogue> catalogue_;
    std::unordered_map<const framework::CMetaClass*, ClassTable> tables_;
    std::optional<ClassTable> all_device_;
    std::unordered_map<const core::PackedRowLayout*, PackedTable> packed_tables_;
};

}  // namespace orv::results
