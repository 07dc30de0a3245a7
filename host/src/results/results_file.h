// One results file, as the writer thread uses it.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "class_table.h"

namespace orv::results {

/// What begins with a test.
struct NewDataSet {
    std::string path;
    std::string category;
    std::string start_time;
    int iteration = 0;
    std::vector<const framework::CMetaClass*> classes;    ///< those that get a table even without a row
    const framework::CMetaClass* device_class = nullptr;  ///< whose objects are in AllDevice too
};

/// The file of the current data set. Every operation is one transaction, and throws SqliteError or
/// COrvRunTimeError when it could not be done; then nothing of it is in the file.
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
    /// The data set's relations are those of the group from now on.
    void WriteWithRelations(const RowGroup& rows);
    void SetRootNode(std::uint32_t handle);
    void SetTestCommand(std::uint32_t handle);
    void AddIterationDatabase(std::uint32_t node_handle, const std::string& path);
    void Finalise(const std::string& end_time);
    /// Closes the file as it is, as one file where possible.
    void Close() noexcept;

  private:
    template <class Work>
    void InTransaction(const Work& work);
    void Open(SqliteConnection::Mode mode);
    void EnterWalMode();
    void EnsureOwnTables();
    void WriteRows(const RowGroup& rows);
    ClassTable& GetTable(const framework::CMetaClass& meta_class);
    void SetHandle(const char* column, std::uint32_t handle);
    void BecomeOneFile();
    void Drop() noexcept;

    const std::chrono::milliseconds lock_wait_;
    NewDataSet data_set_;
    std::uint32_t id_ = 0;
    std::unique_ptr<SqliteConnection> connection_;
    std::optional<TableCatalogue> catalogue_;
    std::unordered_map<const framework::CMetaClass*, ClassTable> tables_;
    std::optional<ClassTable> all_device_;
};

}  // namespace orv::results
