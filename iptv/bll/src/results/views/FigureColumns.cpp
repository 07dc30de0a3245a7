#include "results/views/FigureColumns.h"

#include <algorithm>
#include <span>

#include "orv/framework/meta_class_manager.h"
#include "results/figures/Figures.h"

namespace orv::iptv::views {

namespace {

using figures::Figure;
using figures::Merge;
using framework::PropId;

/// Collects the columns of one view.
class Columns {
  public:
    Columns(const View& view, const TestKind& kind)
        : view_(view),
          kind_(kind),
          class_(*framework::CMetaClassManager::Instance().GetClass(view.results)) {}

    /// Columns of results follow the view's other columns (place 0).
    void AddResult(const Figure& figure) {
        const auto [minimum, average, maximum] = figure.properties;
        if (figure.merge != Merge::kStatistic) return Add(minimum, 1, figure.titles, "");
        Add(minimum, 1, figure.titles, "Min ");
        if (figure.average_before_maximum) Add(average, 1, figure.titles, "Avg ");
        Add(maximum, 1, figure.titles, "Max ");
        if (!figure.average_before_maximum) Add(average, 1, figure.titles, "Avg ");
    }

    /// Adds nothing if the view's class does not have the property.
    void Add(PropId id, int place, std::span<const Title> titles, const std::string& prefix = "") {
        const framework::CPropertyMeta* property = class_.FindProperty(id);
        if (!property) return;
        for (const Title& title : titles) {
            if (!Holds(title.when, kind_)) continue;
            if (title.in != In::kAnyView && title.in != view_.figures_as) continue;
            std::string text = view_.table_of_figures + property->name;
            if (*title.text) text += " as '" + prefix + title.text + "'";
            columns_.push_back({place, std::move(text)});
        }
    }

    std::vector<PlacedColumn> Take() { return std::move(columns_); }

  private:
    const View& view_;
    const TestKind& kind_;
    const framework::CMetaClass& class_;
    std::vector<PlacedColumn> columns_;
};

}  // namespace

std::vector<PlacedColumn> ListFigureColumns(const View& view, const TestKind& kind) {
    if (view.results == common::ClassId()) return {};
    Columns columns(view, kind);
    for (const Figure& figure : figures::kFigures) {
        columns.AddResult(figure);
        if (figure.port.title) {
            const Title title{When::kAll, figure.port.title};
            columns.Add(figure.port.id, figure.port.place, {&title, 1});
        }
        columns.Add(figure.column.id, figure.column.place, figure.column.titles);
    }
    return columns.Take();
}

}  // namespace orv::iptv::views
