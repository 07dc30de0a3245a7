// Stores the results of tests.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>

#include "orv/core/packed_rows.h"
#include "orv/framework/scriptable.h"

namespace orv::framework {
class CCommand;
}

namespace orv::core {

/// How the results of a test are kept.
struct TestResultSetting {
    std::string category;          ///< what the results are of
    std::string base_name;         ///< file name without ending, used while output_file_path is empty
    std::string output_file_path;  ///< path without ending; a relative one begins in the manager's folder
};

/// Names of texts that describe a data set and that the manager knows itself: when it was begun and
/// finalised, in universal time, by the wall clock, whatever clock the test uses.
namespace description {
inline constexpr const char* kStartTime = "StartTime";
inline constexpr const char* kEndTime = "EndTime";
}  // namespace description

/// Base of the object that stores results while it lives. A host without one runs tests all the same;
/// plug-ins find null then.
///
/// A test's results are one data set of a database file. For each test the operations come in the order in
/// which they are declared (Describe at any time). Used under the task lock; an operation that waits for the
/// disk gives the lock up meanwhile, after it has copied what it stores. The getters may be called from any
/// thread.
///
/// A failed write never stops a test. When a file cannot be written (any more), its data set goes on
/// in a new file beside it, which gets all that has been stored of the test so far; GetDatabasePath says
/// where. That is logged as an error that names both paths, and kept for GetErrorText, although nothing is
/// lost: a reader of the requested file would mistake the results of an earlier test for those of this
/// one. When the other file cannot be written either, that is a second error; what was written stays
/// readable, and what comes later is dropped until the next SetTestResultSetting.
class TestResultManager {
  public:
    using TestResultSetting = core::TestResultSetting;

    /// The one that lives, or null.
    static TestResultManager* GetCurrentInstance();

    virtual ~TestResultManager();
    TestResultManager(const TestResultManager&) = delete;
    TestResultManager& operator=(const TestResultManager&) = delete;

    /// A text that describes what is run, under a name: stored with each data set begun from now on, and with
    /// those that this manager has begun so far in the current file; in place of the one stored under that
    /// name before. Returns once it is stored; what cannot be stored is a warning in the log.
    virtual void Describe(const std::string& name, const std::string& text) = 0;
    /// A user starts a test by hand: it is no iteration of a sequence.
    virtual void StartInteractive() = 0;
    /// Opens the database file, made with its folders if there is none, and begins a new data set in it. The
    /// data set before is left as it is when it has not been finalised: it has no end then.
    virtual void SetTestResultSetting(const TestResultSetting& setting) = 0;
    /// True: stores the configuration as it is now, with its relations.
    virtual void SaveConfiguration(bool save) = 0;
    /// Absolute path of the database file with its ending: the one that was asked for, or the one that
    /// took its place. Empty before there is one, also when none could be made.
    virtual std::string GetDatabasePath() const = 0;
    /// The file's data set that this test writes, counted from 1; 0 before there is one.
    virtual std::uint32_t GetDataSetId() const = 0;
    /// Stores the command that runs the test.
    virtual void SetTestCommand(framework::CCommand& command) = 0;

    /// Adds result objects that live for a short time, one row each. They may be destroyed afterwards. Rows
    /// are on their way to the disk when this returns; it waits only while too many are.
    virtual void SaveResults(const framework::ScriptableVec& results) = 0;
    /// Adds results that have never been objects. Each row is given once; no object with its handle is
    /// stored. Waits like SaveResults.
    virtual void SaveRows(PackedRows rows) = 0;

    /// Stores every result object of the project as it is now (instead of what was stored of it before), and
    /// every object of the given classes with the view definitions that result nodes name.
    virtual void SaveObjects(const std::set<common::ClassId>& classes) = 0;
    /// The result node at which a reader begins.
    virtual void SetRootNode(framework::CScriptable& node) = 0;
    /// True from the beginning of a data set until Finalise has been called for it.
    virtual bool MustFinalise() const = 0;
    /// Writes everything to the disk and closes the data set, and the file, which is one file then (unless
    /// it has a reader: then once that has closed it). What is stored afterwards is written at once.
    virtual void Finalise() = 0;

    /// Number of the iteration of a sequence that runs, from 1; 0 outside of one.
    virtual int GetIterationNumber() const = 0;
    /// From the next SetTestResultSetting on the results are those of an iteration; each has a file of its
    /// own, "<name>-Iter-<n>.db".
    virtual void SetIterationNumber(int iteration) = 0;
    /// Notes that the results behind a node are in another file.
    virtual void RegisterIterationDatabase(framework::CScriptable& node, const std::string& path) = 0;

    /// Why something could not be written; empty without errors.
    virtual std::string GetErrorText() const = 0;

  protected:
    /// Throws COrvLogicError when there is one already.
    TestResultManager();
};

/// A test-result manager that writes SQLite files; files with base names are created in `folder`. Its data
/// sets are those of iteration `run_iteration` of the whole run (0: it is not repeated), while no iteration
/// of a sequence goes on. That is no operation of the manager, because it is not the sequence that knows it,
/// and the files stay those of the setting: all iterations of a run may share one.
///
/// A file has a table for every class that can have objects (a command's once it is stored), named as the
/// class, with the columns Handle (the primary key: an object has one row in a data set), ParentHnd and
/// DataSetId, and one for each property: numbers, enumerations and booleans (0 or 1) as numbers, everything
/// else as text, the elements of a list separated by blanks, NULL for no value. AllDevice holds the emulated
/// devices of all classes, RelationTable (SourceHnd, TargetHnd, Type, DataSetId) the relations by name,
/// DataSets the tests (Category; StartTime and EndTime in universal time, EndTime is null until the data set
/// is finalised; RootNode, TestCommand, Iteration), DataSetDescriptions (DataSetId, Name, Text) the texts
/// that describe them, IterationDatabases (NodeHnd, Path, DataSetId) other files.
///
/// Handles of different data sets in a file are distinct, so that tables can be joined by handle alone: data
/// set n adds (n - 1) * 2^32 to every handle that it stores, those in properties of type handle included.
std::unique_ptr<TestResultManager> MakeSqliteTestResultManager(const std::string& folder,
                                                               int run_iteration = 0);

/// Why such a manager could not store results in a file: it is damaged, no database, or another program's.
/// Empty when it could, when there is no file, and when another process locks it: the manager waits for the
/// lock. Reads no rows, however large the file is, so damage in the middle is not found; changes nothing. Of
/// the tables of classes it knows those of the data models that are active.
std::string FindResultsFileProblem(const std::string& path);

}  // namespace orv::core
