// The columns of views for figures.
#pragma once

#include <string>
#include <vector>

#include "results/views/ViewDefinitions.h"

namespace orv::iptv::views {

struct PlacedColumn {
    int place;  ///< position among all columns of the view
    std::string text;
};

/// The figure columns of a view for a kind of test, in the order of the table of figures.
std::vector<PlacedColumn> ListFigureColumns(const View& view, const TestKind& kind);

}  // namespace orv::iptv::views
