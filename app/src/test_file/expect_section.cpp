#include "expect_section.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <unordered_map>
#include <utility>

#include "names.h"

namespace orv::app {

namespace {

constexpr const char* kExpect = "expect";

/// An entry as one text, and where its parts are in the file. Without quotes, YAML takes "port Viewers: lost
/// <= 0" for a key and a value, which is meant as written.
class ExpectEntry {
  public:
    explicit ExpectEntry(const SourceNode& node) {
        if (node.IsText()) {
            text_ = node.text;
            first_ = &node;
        } else if (node.IsMap() && node.entries.size() == 1 && !node.entries.front().value.IsList() &&
                   !node.entries.front().value.IsMap()) {
            first_ = &node.entries.front().key;
            second_ = &node.entries.front().value;
            text_ = first_->text + kColon + second_->text;
        }
    }

    bool IsGood() const { return first_ != nullptr; }
    const std::string& GetText() const { return text_; }
    Position GetPosition(std::size_t offset) const {
        if (!second_ || offset < first_->text.size()) return first_->GetPosition(offset);
        return second_->GetPosition(offset - std::min(offset, first_->text.size() + kColon.size()));
    }

  private:
    static inline const std::string kColon = ": ";

    std::string text_;
    const SourceNode* first_ = nullptr;
    const SourceNode* second_ = nullptr;
};

/// Names among which those of expectations are looked up, and how often there are.
struct CountedNames {
    explicit CountedNames(const std::vector<std::string>& names) : known(names) {
        for (const std::string& name : names) ++counts[name];
    }

    KnownNames known;
    std::unordered_map<std::string, std::size_t> counts;
};

}  // namespace

Expectations ReadExpectSection(const SourceNode& node, MistakeList& mistakes) {
    Expectations expectations;
    if (node.IsNothing()) return expectations;
    if (!node.IsList()) {
        mistakes.Add({node.at, kExpect}, node.DescribeWrong(), "a list of texts");
        return expectations;
    }
    for (const SourceNode& item : node.items) {
        const ExpectEntry entry(item);
        if (!entry.IsGood()) {
            mistakes.Add({item.at, kExpect}, item.DescribeWrong(), kExpectationForm);
            continue;
        }
        std::vector<ExpectationMistake> found;
        Expectation expectation = ParseExpectation(entry.GetText(), found);
        for (const ExpectationMistake& one : found)
            mistakes.Add({entry.GetPosition(one.offset), kExpect}, one.problem, one.expected, one.nearest);
        // The name is checked even if the rest is wrong.
        const Position name_at = entry.GetPosition(expectation.name_offset);
        if (expectation.subject) expectations.push_back({std::move(expectation), name_at});
    }
    return expectations;
}

void CheckSubjects(const Expectations& expectations, const NamesOfClass& names_of, MistakeList& mistakes) {
    constexpr std::size_t kMostShown = 20;
    std::map<const Subject*, CountedNames> by_subject;
    for (const auto& [expectation, at] : expectations) {
        const Subject& subject = *expectation.subject;
        if (subject.IsTest() || expectation.name.empty()) continue;
        auto found = by_subject.find(&subject);
        if (found == by_subject.end())
            found = by_subject.emplace(&subject, names_of(subject.class_name)).first;
        auto& [known, counts] = found->second;
        const std::string& name = expectation.name;
        const auto count = counts.find(name);
        if (count == counts.end()) {
            mistakes.Add(
                {at, kExpect}, fmt::format("\"{}\" names no {}", name, subject.name),
                known.Get().empty() ? "nothing: the test has none" : JoinNames(known.Get(), kMostShown),
                known.FindNearest(name));
        } else if (count->second > 1) {
            // Results do not tell them apart.
            mistakes.Add({at, kExpect}, fmt::format("\"{}\" names {} {}s", name, count->second, subject.name),
                         "a name that only one of them has");
        }
    }
}

}  // namespace orv::app
