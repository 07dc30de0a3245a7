#include "results_file.h"

#include <boost/filesystem.hpp>

#include "../framework/framework_log.h"
#include "orv/common/exceptions.h"

namespace orv::results {

namespace {

using Mode = SqliteConnection::Mode;

/// Rows are wide; larger pages hold them in fewer writes.
constexpr const char* kPageSize = "PRAGMA page_size = 8192";
/// 32 MB of log between two checkpoints, which are what waits for the disk.
constexpr const char* kCheckpointDistance = "PRAGMA wal_autocheckpoint = 4000";
/// How long the end of a test waits for readers.
constexpr std::chrono::milliseconds kReaderWait{1000};

void MakeFolders(const boost::filesystem::path& folder) {
    boost::system::error_code error;
    boost::filesystem::create_directories(folder, error);
    if (error && !boost::filesystem::is_directory(folder)) {
        throw common::COrvRunTimeError("the folder cannot be made: " + error.message());
    }
}

}  // namespace

std::uint32_t ResultsFile::Begin(NewDataSet data_set) {
    Close();
    id_ = 0;
    data_set_ = std::move(data_set);
    MakeFolders(boost::filesystem::path(data_set_.path).parent_path());
    Open(Mode::Create);
    try {
        SqliteTransaction transaction(*connection_);
        catalogue_.emplace(*connection_);
        EnsureOwnTables();
        for (const framework::CMetaClass* meta_class : data_set_.classes) {
            catalogue_->Ensure(meta_class->GetName(), GetColumns(*meta_class));
        }
        SqliteStatement last(*connection_, "SELECT coalesce(max(DataSetId), 0) FROM DataSets");
        last.Step();
        const auto id = static_cast<std::uint32_t>(last.GetInteger(0) + 1);
        SqliteStatement insert(
            *connection_,
            "INSERT INTO DataSets(DataSetId, Category, StartTime, Iteration) VALUES(?, ?, ?, ?)");
        insert.Bind(1, std::int64_t{id});
        insert.Bind(2, data_set_.category);
        insert.Bind(3, data_set_.start_time);
        insert.Bind(4, std::int64_t{data_set_.iteration});
        insert.Run();
        transaction.Commit();
        id_ = id;
    } catch (...) {
        Drop();
        throw;
    }
    return id_;
}

void ResultsFile::Open(Mode mode) {
    connection_ = std::make_unique<SqliteConnection>(data_set_.path, mode);
    try {
        connection_->SetLockWait(lock_wait_);
        if (mode != Mode::Create) return;
        connection_->Execute(kPageSize);
        EnterWalMode();
        connection_->Execute("PRAGMA synchronous = NORMAL");
        connection_->Execute(kCheckpointDistance);
    } catch (...) {
        connection_.reset();
        throw;
    }
}

void ResultsFile::EnterWalMode() {
    try {
        connection_->Execute("PRAGMA journal_mode = WAL");
    } catch (const SqliteError& error) {
        // Somebody reads an older data set just now; without WAL mode he and the test wait for each other.
        if (!error.IsBusy()) throw;
    }
}

void ResultsFile::EnsureOwnTables() {
    catalogue_->Ensure("DataSets", {{"DataSetId", "INTEGER PRIMARY KEY"},
                                    {"Category", "TEXT"},
                                    {"StartTime", "TEXT"},
                                    {"EndTime", "TEXT"},
                                    {"RootNode", "INTEGER"},
                                    {"TestCommand", "INTEGER"},
                                    {"Iteration", "INTEGER"}});
    catalogue_->Ensure("IterationDatabases",
                       {{"NodeHnd", "INTEGER"}, {"Path", "TEXT"}, {"DataSetId", "INTEGER"}});
    catalogue_->Ensure(
        "RelationTable",
        {{"SourceHnd", "INTEGER"}, {"TargetHnd", "INTEGER"}, {"Type", "TEXT"}, {"DataSetId", "INTEGER"}});
    for (const char* column : {"SourceHnd", "TargetHnd", "DataSetId"}) {
        connection_->Execute(std::string("CREATE INDEX IF NOT EXISTS RelationTable_") + column +
                             " ON RelationTable(" + column + ")");
    }
    if (data_set_.device_class) catalogue_->Ensure("AllDevice", GetColumns(*data_set_.device_class));
}

template <class Work>
void ResultsFile::InTransaction(const Work& work) {
    ORV_ASSERT(id_ != 0, "A data set comes before what is in it");
    const bool was_open = connection_ != nullptr;
    if (!was_open) Open(Mode::Existing);
    try {
        if (!catalogue_) catalogue_.emplace(*connection_);
        SqliteTransaction transaction(*connection_);
        work();
        transaction.Commit();
    } catch (...) {
        if (!was_open) Drop();
        throw;
    }
    if (!was_open) Drop();
}

void ResultsFile::Write(const RowGroup& rows) {
    InTransaction([&] { WriteRows(rows); });
}

void ResultsFile::WriteWithRelations(const RowGroup& rows) {
    InTransaction([&] {
        WriteRows(rows);
        SqliteStatement clear(*connection_, "DELETE FROM RelationTable WHERE DataSetId = ?");
        clear.Bind(1, std::int64_t{id_});
        clear.Run();
        SqliteStatement insert(
            *connection_,
            "INSERT INTO RelationTable(SourceHnd, TargetHnd, Type, DataSetId) VALUES(?, ?, ?, ?)");
        for (const RowGroup::Relation& relation : rows.GetRelations()) {
            insert.Bind(1, ToFileHandle(relation.source, id_));
            insert.Bind(2, ToFileHandle(relation.target, id_));
            insert.BindUncopied(3, relation.type);
            insert.Bind(4, std::int64_t{id_});
            insert.Run();
        }
    });
}

void ResultsFile::WriteRows(const RowGroup& rows) {
    for (const RowGroup::ClassRows& of_class : rows.GetRows()) {
        GetTable(*of_class.meta_class).Write(of_class, id_);
        const framework::CMetaClass* device = data_set_.device_class;
        if (!device || !of_class.meta_class->IsTypeOf(*device)) continue;
        if (!all_device_) all_device_.emplace(*connection_, *catalogue_, "AllDevice", *device);
        all_device_->Write(of_class, id_);
    }
}

ClassTable& ResultsFile::GetTable(const framework::CMetaClass& meta_class) {
    const auto found = tables_.find(&meta_class);
    if (found != tables_.end()) return found->second;
    return tables_
        .emplace(&meta_class, ClassTable(*connection_, *catalogue_, meta_class.GetName(), meta_class))
        .first->second;
}

void ResultsFile::SetHandle(const char* column, std::uint32_t handle) {
    InTransaction([&] {
        SqliteStatement update(*connection_,
                               std::string("UPDATE DataSets SET ") + column + " = ? WHERE DataSetId = ?");
        update.Bind(1, ToFileHandle(handle, id_));
        update.Bind(2, std::int64_t{id_});
        update.Run();
    });
}

void ResultsFile::SetRootNode(std::uint32_t handle) {
    SetHandle("RootNode", handle);
}

void ResultsFile::SetTestCommand(std::uint32_t handle) {
    SetHandle("TestCommand", handle);
}

void ResultsFile::AddIterationDatabase(std::uint32_t node_handle, const std::string& path) {
    InTransaction([&] {
        SqliteStatement insert(*connection_,
                               "INSERT INTO IterationDatabases(NodeHnd, Path, DataSetId) VALUES(?, ?, ?)");
        insert.Bind(1, ToFileHandle(node_handle, id_));
        insert.Bind(2, path);
        insert.Bind(3, std::int64_t{id_});
        insert.Run();
    });
}

void ResultsFile::Finalise(const std::string& end_time) {
    InTransaction([&] {
        SqliteStatement update(*connection_, "UPDATE DataSets SET EndTime = ? WHERE DataSetId = ?");
        update.Bind(1, end_time);
        update.Bind(2, std::int64_t{id_});
        update.Run();
    });
    if (!connection_) return;
    BecomeOneFile();
    Drop();
}

void ResultsFile::BecomeOneFile() {
    // SQLite leaves WAL mode only while no other connection is there.
    try {
        connection_->SetLockWait(kReaderWait);
        connection_->Execute("PRAGMA wal_checkpoint(TRUNCATE)");
        connection_->Execute("PRAGMA journal_mode = DELETE");
    } catch (const SqliteError& error) {
        if (!error.IsBusy()) throw;
        framework::LogWarn([&] {
            return "another program reads " + data_set_.path +
                   "; the file beside it that ends in -wal belongs to it until that program closes it";
        });
    }
}

void ResultsFile::Close() noexcept {
    if (!connection_) return;
    try {
        BecomeOneFile();
    } catch (const std::exception& error) {
        framework::LogWarn(
            [&] { return data_set_.path + " needs the file beside it that ends in -wal: " + error.what(); });
    }
    Drop();
}

void ResultsFile::Drop() noexcept {
    tables_.clear();
    all_device_.reset();
    catalogue_.reset();
    connection_.reset();
}

}  // namespace orv::results
