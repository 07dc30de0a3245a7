#include "results_file.h"

#include <boost/filesystem.hpp>
#include <exception>
#include <thread>

#include "log/framework_log.h"
#include "orv/common/exceptions.h"
#include "orv/core/test_result_manager.h"
#include "recovery_file.h"

namespace orv::results {

namespace {

using Mode = SqliteConnection::Mode;

/// Rows are wide; larger pages hold them in fewer writes.
constexpr const char* kPageSize = "PRAGMA page_size = 8192";
/// 32 MB of log between two checkpoints, which are what waits for the disk. Rows and index entries are
/// appended, so a page is written once to the log and once to the file; longer distances write no less.
constexpr const char* kCheckpointDistance = "PRAGMA wal_autocheckpoint = 4000";
/// The beginning of a data set waits this many times longer than other operations: other runs create all
/// their tables meanwhile, and there is nothing to lose yet.
constexpr int kSetUpPatience = 3;
constexpr std::chrono::milliseconds kRetryPause{10};
/// The share of the wait that readers get at the beginning of a data set, once before the change to WAL mode
/// and once after it has failed: readers may take long, and the user waits for the test to begin.
constexpr int kReaderShare = 5;
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
    if (has_left_ || data_set.path != data_set_.path) begun_.clear();
    has_left_ = false;
    detour_.reset();
    id_ = 0;
    data_set_ = std::move(data_set);
    try {
        SetUp(0);
    } catch (const std::exception& error) {
        if (!GoOnBeside(error.what())) throw;
    }
    return id_;
}

void ResultsFile::SetUp(std::uint32_t id) {
    MakeFolders(boost::filesystem::path(data_set_.path).parent_path());
    Open(Mode::Create);
    try {
        // Other runs that begin in the file do the same: each sees the tables of those before it.
        connection_->SetLockWait(lock_wait_ * kSetUpPatience);
        SqliteTransaction transaction(*connection_);
        connection_->SetLockWait(lock_wait_ / kReaderShare);
        id = MakeDataSet(id);
        transaction.Commit();
        connection_->SetLockWait(lock_wait_);
    } catch (...) {
        Drop();
        throw;
    }
    id_ = id;
    begun_.push_back(id);
}

std::uint32_t ResultsFile::MakeDataSet(std::uint32_t id) {
    EnsureOwnTables();
    for (const framework::CMetaClass* meta_class : data_set_.classes) {
        catalogue_->Ensure(meta_class->GetName(), GetColumns(*meta_class));
    }
    if (id == 0) {
        SqliteStatement last(*connection_, "SELECT coalesce(max(DataSetId), 0) FROM DataSets");
        last.Step();
        id = static_cast<std::uint32_t>(last.GetInteger(0) + 1);
    }
    InsertDataSet(id);
    return id;
}

void ResultsFile::Rehearse(NewDataSet data_set, const std::vector<std::string>& schema) {
    ResultsFile file(std::chrono::milliseconds(0));
    file.data_set_ = std::move(data_set);
    file.connection_ = std::make_unique<SqliteConnection>(":memory:", Mode::Create);
    file.catalogue_.emplace(*file.connection_);
    for (const std::string& statement : schema) {
        try {
            file.connection_->Execute(statement);
        } catch (const SqliteError&) {
            // Objects that need another program's functions do not affect results.
        }
    }
    file.MakeDataSet(0);
}

void ResultsFile::InsertDataSet(std::uint32_t id) {
    SqliteStatement insert(
        *connection_, "INSERT INTO DataSets(DataSetId, Category, StartTime, Iteration) VALUES(?, ?, ?, ?)");
    insert.Bind(1, std::int64_t{id});
    insert.Bind(2, data_set_.category);
    insert.Bind(3, data_set_.start_time);
    insert.Bind(4, std::int64_t{data_set_.iteration});
    insert.Run();
    for (const auto& [name, text] : data_set_.description) StoreText(id, name, text);
}

bool ResultsFile::GoOnBeside(const std::string& reason) {
    if (has_left_) return false;
    Drop();
    const std::string from = data_set_.path;
    const std::uint32_t id = id_;
    for (const std::string& folder : GetRecoveryFolders(from)) {
        std::string to;
        try {
            to = MakeRecoveryFile(folder, from);
            data_set_.path = to;
            begun_.clear();
            SetUp(id);
            const bool has_all = id == 0 || CopyFrom(from);
            has_left_ = true;
            detour_ = Detour{from, to, reason, has_all};
            return true;
        } catch (const std::exception& error) {
            framework::LogWarn([&] {
                return "results cannot be written to " + (to.empty() ? folder : to) +
                       " either: " + error.what();
            });
            Drop();
            boost::system::error_code ignored;
            if (!to.empty()) boost::filesystem::remove(to, ignored);
        }
    }
    data_set_.path = from;
    id_ = id;
    try {
        if (id != 0) Open(Mode::Existing);  // to be left as one file
    } catch (const SqliteError&) {
    }
    return false;
}

bool ResultsFile::CopyFrom(const std::string& path) {
    if (!boost::filesystem::exists(path)) return false;  // SQLite would make it
    try {
        CopyDataSet(*connection_, *catalogue_, path, id_);
        return true;
    } catch (const SqliteError& error) {
        // A folder that has no room for the results so far has none for those to come.
        if (error.IsOutOfRoom()) throw;
        framework::LogWarn([&] { return "results cannot be copied from " + path + ": " + error.what(); });
        return false;
    }
}

void ResultsFile::Open(Mode mode) {
    connection_ = std::make_unique<SqliteConnection>(data_set_.path, mode);
    try {
        connection_->SetLockWait(lock_wait_);
        catalogue_.emplace(*connection_);
        if (mode != Mode::Create) return;
        connection_->Execute(kPageSize);
        EnterWalMode();
        // A crash of the program loses nothing, one of the machine what came after the last checkpoint.
        // Waiting for the disk after every transaction would not be worth that.
        connection_->Execute("PRAGMA synchronous = NORMAL");
        connection_->Execute(kCheckpointDistance);
    } catch (...) {
        Drop();
        throw;
    }
}

void ResultsFile::EnterWalMode() {
    // SQLite fails at once where waiting could deadlock: when several runs create the file together.
    connection_->SetLockWait(std::chrono::milliseconds(0));
    const auto deadline = std::chrono::steady_clock::now() + lock_wait_ / kReaderShare;
    for (bool done = false; !done;) {
        try {
            connection_->Execute("PRAGMA journal_mode = WAL");
            done = true;
        } catch (const SqliteError& error) {
            if (!error.IsBusy()) throw;
            // A reader has an older data set open; without WAL mode it and the test wait for each
            // other.
            done = std::chrono::steady_clock::now() >= deadline;
            if (!done) std::this_thread::sleep_for(kRetryPause);
        }
    }
    connection_->SetLockWait(lock_wait_);
}

void ResultsFile::EnsureOwnTables() {
    catalogue_->Ensure("DataSets", {{"DataSetId", "INTEGER PRIMARY KEY"},
                                    {"Category", "TEXT"},
                                    {"StartTime", "TEXT"},
                                    {"EndTime", "TEXT"},
                                    {"RootNode", "INTEGER"},
                                    {"TestCommand", "INTEGER"},
                                    {"Iteration", "INTEGER"}});
    catalogue_->Ensure("DataSetDescriptions", {{"DataSetId", "INTEGER"}, {"Name", "TEXT"}, {"Text", "TEXT"}});
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
    try {
        Attempt(work);
    } catch (const std::exception& error) {
        if (!GoOnBeside(error.what())) throw;
        Attempt(work);
    }
}

template <class Work>
void ResultsFile::Attempt(const Work& work) {
    const bool was_open = connection_ != nullptr;
    if (!was_open) Open(Mode::Existing);
    try {
        SqliteTransaction transaction(*connection_);
        work();
        transaction.Commit();
    } catch (...) {
        if (!was_open) Drop();
        // Their tables may be gone with the transaction.
        ForgetTables();
        throw;
    }
    if (!was_open) Drop();
}

void ResultsFile::Write(const RowGroup& rows) {
    InTransaction([&] { WriteRows(rows); });
}

void ResultsFile::Write(const core::PackedRows& rows) {
    InTransaction([&] {
        const auto& layout = rows.GetLayout();
        auto table = packed_tables_.find(layout.get());
        if (table == packed_tables_.end()) {
            table = packed_tables_.emplace(layout.get(), PackedTable(*connection_, *catalogue_, layout, id_))
                        .first;
        }
        table->second.Write(rows);
    });
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
        FindOrMakeTable(*of_class.meta_class).Write(of_class, id_);
        const framework::CMetaClass* device = data_set_.device_class;
        if (!device || !of_class.meta_class->IsTypeOf(*device)) continue;
        if (!all_device_) all_device_.emplace(*connection_, *catalogue_, "AllDevice", *device);
        all_device_->Write(of_class, id_);
    }
}

ClassTable& ResultsFile::FindOrMakeTable(const framework::CMetaClass& meta_class) {
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

void ResultsFile::Describe(const std::string& name, const std::string& text) {
    try {
        Attempt([&] {
            for (const std::uint32_t id : begun_) StoreText(id, name, text);
        });
    } catch (const std::exception& error) {
        // No result is lost by it, so the results stay where they are.
        framework::LogWarn([&] {
            return data_set_.path + " lacks a part of its description (" + name + "): " + error.what();
        });
    }
}

void ResultsFile::StoreText(std::uint32_t id, const std::string& name, const std::string& text) {
    SqliteStatement clear(*connection_, "DELETE FROM DataSetDescriptions WHERE DataSetId = ? AND Name = ?");
    clear.Bind(1, std::int64_t{id});
    clear.Bind(2, name);
    clear.Run();
    SqliteStatement insert(*connection_,
                           "INSERT INTO DataSetDescriptions(DataSetId, Name, Text) VALUES(?, ?, ?)");
    insert.Bind(1, std::int64_t{id});
    insert.Bind(2, name);
    insert.Bind(3, text);
    insert.Run();
}

void ResultsFile::Finalise(const std::string& end_time, const std::string& wall_clock_time) {
    InTransaction([&] {
        SqliteStatement update(*connection_, "UPDATE DataSets SET EndTime = ? WHERE DataSetId = ?");
        update.Bind(1, end_time);
        update.Bind(2, std::int64_t{id_});
        update.Run();
        StoreText(id_, core::description::kEndTime, wall_clock_time);
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

void ResultsFile::ForgetTables() noexcept {
    tables_.clear();
    all_device_.reset();
    packed_tables_.clear();
}

void ResultsFile::Drop() noexcept {
    ForgetTables();
    catalogue_.reset();
    connection_.reset();
}

}  // namespace orv::results
