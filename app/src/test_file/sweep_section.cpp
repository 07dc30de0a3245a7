#include "sweep_section.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "decimal.h"
#include "key_reader.h"
#include "value_reader.h"

namespace orv::app {

namespace {

constexpr const char* kForms =
    "a list of values, {from: ..., to: ..., step: ...} or {search: {from: ..., to: ..., step: ..., "
    "repetitions: ...}}";

class SweepSectionReader : KeyReader {
  public:
    explicit SweepSectionReader(MistakeList& mistakes) : KeyReader(mistakes) {}

    std::optional<Sweep> Read(const SourceNode& node) {
        if (node.IsNothing()) return std::nullopt;
        if (!node.IsMap()) {
            Add({node.at, {}, "sweep"}, node.DescribeWrong(), "properties and their values");
            return std::nullopt;
        }
        Sweep sweep;
        std::size_t iterations = 1;
        for (const SourceEntry& entry : node.entries) {
            if (sweep.properties.size() == 2) {
                Add({entry.key.at, "sweep", entry.key.text}, "this is a third property",
                    "at most two that vary");
                break;
            }
            sweep.properties.push_back({entry.key, {}});
            ReadProperty({"sweep", entry}, sweep);
            iterations *= sweep.properties.back().values.size();
        }
        if (sweep.search && sweep.properties.size() > 1) {
            const SourceNode& second = sweep.properties[1].name;
            Add({second.at, "sweep", second.text}, "a search varies one property, without another");
        } else if (!sweep.search && iterations > kMostIterations) {
            const SourceNode& last = sweep.properties.back().name;
            Add({last.at, "sweep", last.text}, fmt::format("the sweep has {} iterations", iterations),
                fmt::format("at most {}", kMostIterations));
        }
        if (is_wrong_ || sweep.properties.empty()) return std::nullopt;
        return sweep;
    }

  private:
    void Add(const MistakeList::Where& where, const std::string& problem, const std::string& expected = {}) {
        is_wrong_ = true;
        Mistakes().Add(where, problem, expected);
    }

    void ReadProperty(const Key& key, Sweep& sweep) {
        SweptProperty& property = sweep.properties.back();
        const SourceNode& value = key.Value();
        const bool is_search = value.IsMap() && std::ranges::any_of(value.entries, [](const auto& entry) {
                                   return entry.key.text == "search";
                               });
        if (value.IsList() && !value.items.empty()) {
            property.values = value.items;
        } else if (is_search) {
            KnownNames keys({"search"});
            for (const Key& search : ReadKnown(key, keys)) {
                sweep.search.emplace();
                ReadRange(search, &sweep.search->repetitions, property, kMostSearchedValues);
            }
        } else if (value.IsMap()) {
            ReadRange(key, nullptr, property, kMostIterations);
        } else {
            Add(key.Where(), value.IsList() ? "there are no values" : value.DescribeWrong(), kForms);
        }
    }

    /// `repetitions`: null where there are none.
    void ReadRange(const Key& key, std::uint32_t* repetitions, SweptProperty& property, std::size_t most) {
        KnownNames keys({"from", "to", "step"});
        if (repetitions) keys = KnownNames({"from", "to", "step", "repetitions"});
        std::optional<Decimal> from, to;
        std::optional<Decimal> step = Decimal{1, 0};
        bool has_from = false, has_to = false;
        for (const Key& part : ReadKnown(key, keys)) {
            const std::string& name = part.entry.key.text;
            if (name == "from") {
                has_from = true;
                from = ReadNumber(part);
            } else if (name == "to") {
                has_to = true;
                to = ReadNumber(part);
            } else if (name == "step") {
                step = ReadNumber(part);
                if (step && step->units <= 0) {
                    Add(part.Where(), part.Value().DescribeWrong(), "a number above 0");
                    step.reset();
                }
            } else {
                *repetitions = 0;
                ReadWhole(part, *repetitions, 1U, kMostRepetitions);
                is_wrong_ |= *repetitions == 0;
            }
        }
        const std::string section = key.section + ", " + key.entry.key.text;
        if (!has_from) Add({key.Value().at, section, "from"}, "this is missing", "a number");
        if (!has_to) Add({key.Value().at, section, "to"}, "this is missing", "a number");
        if (!from || !to || !step) return;
        const DecimalRange range(*from, *to, *step);
        if (range.GetCount() == 0)
            return Add({key.Value().at, section}, "the range ends below its begin", "from, and to above it");
        if (range.GetCount() > most)
            return Add({key.Value().at, section}, fmt::format("these are {} values", range.GetCount()),
                       fmt::format("at most {}", most));
        SourceNode text;
        text.kind = SourceNode::Kind::Text;
        text.at = key.Value().at;
        for (std::size_t i = 0; i < range.GetCount(); ++i) {
            text.text = range.GetText(i);
            property.values.push_back(text);
        }
    }

    std::optional<Decimal> ReadNumber(const Key& key) {
        const auto number = key.Value().IsText() ? ParseDecimal(key.Value().text) : std::optional<Decimal>();
        if (!number)
            Add(key.Where(), key.Value().DescribeWrong(),
                "a decimal number of at most 12 digits, 6 of them behind the point");
        return number;
    }

    std::vector<Key> ReadKnown(const Key& key, KnownNames& keys) {
        std::vector<Key> known = ReadEntries(key, keys);
        is_wrong_ |= !key.Value().IsNothing() && known.size() != key.Value().entries.size();
        return known;
    }

    bool is_wrong_ = false;
};

std::string Write(const SourceNode& node) {
    if (node.IsText()) return node.text;
    std::string text;
    for (const SourceNode& item : node.items) text += (text.empty() ? "" : ", ") + Write(item);
    return node.IsList() ? "[" + text + "]" : text;
}

}  // namespace

std::string SweptProperty::GetText(std::size_t value) const {
    return Write(values.at(value));
}

std::optional<Sweep> ReadSweepSection(const SourceNode& node, MistakeList& mistakes) {
    return SweepSectionReader(mistakes).Read(node);
}

bool SweptValues::Find(const Sweep& sweep) {
    for (const SweptProperty& property : sweep.properties) {
        auto target = settings_.FindTarget(property.name.text, property.name.at);
        if (!target) continue;
        const auto is_same = [&target](const SettingTarget& other) { return other.IsSameAs(*target); };
        if (std::ranges::any_of(targets_, is_same)) {
            mistakes_.Add({target->at, "sweep", property.name.text}, "the property is given twice");
            continue;
        }
        const auto set = std::ranges::find_if(settings_.GetTargets(), is_same);
        if (set != settings_.GetTargets().end()) {
            mistakes_.Add({set->at, plan_.Describe(set->object), set->property},
                          fmt::format("the sweep of the test file varies this, in line {}", target->at.line),
                          "a property that is not swept");
            continue;
        }
        targets_.push_back(std::move(*target));
    }
    return targets_.size() == sweep.properties.size();
}

void SweptValues::Clear(std::vector<ObjectEntry>& entries) const {
    for (const SettingTarget& target : targets_) SettingReader::Clear(target, entries);
}

void SweptValues::Replace(const Sweep& sweep, const std::vector<std::size_t>& values,
                          std::vector<ObjectEntry>& entries) {
    Clear(entries);
    for (std::size_t i = 0; i < targets_.size(); ++i)
        settings_.Add(targets_[i], sweep.properties[i].values.at(values.at(i)), entries);
}

void SweptValues::Check(const Sweep& sweep) {
    for (std::size_t i = 0; i < targets_.size(); ++i) {
        const std::vector<SourceNode>& values = sweep.properties[i].values;
        PlannedObject& object = plan_.At(targets_[i].object);
        const PlannedObject without = object;
        std::optional<PlannedObject> with_first;
        for (std::size_t value = 0; value < values.size(); ++value) {
            // All values between have the form of the first two.
            if (sweep.search && value > 1 && value + 1 < values.size()) continue;
            std::vector<ObjectEntry> entries;
            settings_.Add(targets_[i], values[value], entries);
            const std::size_t known = mistakes_.GetCount();
            ReadEntries(entries, plan_, mistakes_);
            // Each value has the same key, and those of a range have one place.
            mistakes_.Settle(targets_[i].at);
            if (mistakes_.GetCount() > known) mistakes_.Settle(values[value].at);
            if (!with_first) with_first = object;
            object = without;
        }
        object = *with_first;
    }
}

}  // namespace orv::app
