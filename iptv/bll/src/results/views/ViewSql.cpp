// The SQL of views.
#include <boost/algorithm/string/classification.hpp>
#include <boost/algorithm/string/split.hpp>
#include <boost/algorithm/string/trim.hpp>

#include <algorithm>
#include <vector>

#include "orv/framework/meta_class_manager.h"
#include "results/views/FigureColumns.h"
#include "results/views/ResultTree.h"
#include "results/views/ViewDefinitions.h"

namespace orv::iptv {

namespace {

/// The non-empty parts between commas, trimmed.
std::vector<std::string> SplitAtCommas(const std::string& text) {
    std::vector<std::string> parts;
    boost::algorithm::split(parts, text, boost::algorithm::is_any_of(","));
    for (std::string& part : parts) boost::algorithm::trim(part);
    std::erase_if(parts, [](const std::string& part) { return part.empty(); });
    return parts;
}

/// The display name of a column, or its name if the data model has none.
std::string GetTitle(const std::string& table, const std::string& column) {
    const auto* meta_class = framework::CMetaClassManager::Instance().GetClass(table);
    const auto* property = meta_class ? meta_class->FindProperty(column) : nullptr;
    if (!property) return column;
    const auto display = property->attributes.find("displayName");
    return display == property->attributes.end() ? column : display->second;
}

std::string WithTitle(const std::string& piece, const std::string& first_table) {
    if (piece.find(" as ") != std::string::npos) return piece;
    const std::size_t point = piece.find('.');
    const std::string table = point == std::string::npos ? first_table : piece.substr(0, point);
    const std::string column = point == std::string::npos ? piece : piece.substr(point + 1);
    return piece + " as '" + GetTitle(table, column) + "'";
}

}  // namespace

std::string BuildSql(const std::string& select, const std::string& from, const std::string& where) {
    if (select.empty() && from.empty() && where.empty()) return {};
    std::string sql = "SELECT";
    if (select == "*") {
        sql += select;
    } else {
        const std::vector<std::string> tables = SplitAtCommas(from);
        const char* separator = " ";
        for (const std::string& piece : SplitAtCommas(select)) {
            sql += separator + WithTitle(piece, tables.empty() ? std::string() : tables.front());
            separator = ", ";
        }
    }
    if (!from.empty()) sql += " FROM " + from;
    if (!where.empty()) sql += " WHERE " + where;
    return sql;
}

namespace views {

std::string View::GetSelect(const TestKind& kind) const {
    std::vector<PlacedColumn> columns = ListFigureColumns(*this, kind);
    for (const Piece& piece : pieces) {
        if (Holds(piece.when, kind)) columns.push_back({piece.place, piece.columns});
    }
    std::ranges::stable_sort(columns, {}, &PlacedColumn::place);
    std::string select;
    for (const PlacedColumn& column : columns) select += column.text + ",";
    return select;
}

}  // namespace views

}  // namespace orv::iptv
