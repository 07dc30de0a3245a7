// The rows of a view, all or selected.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "results_viewer/view_tree.h"

namespace orv::app {

/// Rows, one after the other.
class RowSource {
  public:
    virtual ~RowSource() = default;
    virtual const std::vector<std::string>& GetTitles() const = 0;
    /// The titles. If some differ at most in case, the second one becomes "name (2)" and so on.
    virtual const std::vector<std::string>& GetNames() const = 0;
    /// True when there is a row.
    virtual bool Next(std::vector<ResultValue>& row) = 0;
};

/// What is selected of a view.
struct Selection {
    /// Column names in the desired order, separated by commas, case-insensitive. A name with a comma must be
    /// in double quotes. Empty: all.
    std::string columns;
    /// An SQL expression over names of columns; empty: all rows.
    std::string where;
    std::optional<std::uint64_t> limit = {};

    bool IsAll() const { return columns.empty() && where.empty() && !limit; }
};

class ViewRows : public RowSource {
  public:
    /// Finds the first row. Throws ResultsError when the view cannot be read, or the selection is invalid.
    ViewRows(std::shared_ptr<const ResultsDatabase> database, const ViewNode& view, std::uint32_t data_set,
             const Selection& selection);

    const std::vector<std::string>& GetTitles() const override { return titles_; }
    const std::vector<std::string>& GetNames() const override { return names_; }
    bool Next(std::vector<ResultValue>& row) override;

  private:
    void Choose(const std::string& columns);
    void Restrict(const std::string& where, const std::string& sql);
    bool Step();

    std::shared_ptr<const ResultsDatabase> database_;
    std::unique_ptr<ResultsQuery> query_;
    std::vector<std::string> titles_;
    std::vector<std::string> names_;
    std::vector<int> columns_;  ///< of the query
    std::optional<std::uint64_t> left_;
    bool is_first_ = true;  ///< the constructor has fetched the first row
    bool has_row_ = false;
};

}  // namespace orv::app
