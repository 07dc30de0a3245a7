// Packed rows, written to the table of their class.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "class_table.h"
#include "orv/core/packed_rows.h"

namespace orv::results {

/// Writes the packed rows of one layout in one data set, each of them once. A value that is the same as in
/// the row before is neither formatted nor bound again: most columns of successive rows are equal.
class PackedTable {
  public:
    using Layout = core::PackedRowLayout;

    /// Makes the table with its indexes where the file lacks them.
    PackedTable(SqliteConnection& connection, TableCatalogue& catalogue, std::shared_ptr<const Layout> layout,
                std::uint32_t data_set);

    void Write(const core::PackedRows& rows);

  private:
    struct Value {
        int parameter;
        framework::PropertyType type;
        std::uint16_t offset;
        core::FormatFunction format;
        std::size_t text;  ///< index of its buffer, for values that are stored as texts
    };
    using TextBuffer = std::array<char, Layout::kMaxText>;

    void BindHandles(const core::PackedRows& rows, std::size_t row);
    template <class T>
    void BindChanged(const std::vector<Value>& values, const std::byte* row, const std::byte* last);
    void Bind(const Value& value, const std::byte* bytes);
    void BindText(const Value& value, std::string_view text);

    std::shared_ptr<const Layout> layout_;
    const std::uint32_t data_set_;
    SqliteStatement insert_;
    int name_parameter_ = 0;
    std::array<std::vector<Value>, 5> values_;  ///< those of 1, 2, 4, 8 and 16 bytes
    std::vector<TextBuffer> texts_;
    std::string name_;             ///< "<class> <handle>"
    std::size_t name_begin_ = 0;   ///< length of what does not change
    std::vector<std::byte> last_;  ///< the row whose values are bound; empty before the first
};

}  // namespace orv::results
