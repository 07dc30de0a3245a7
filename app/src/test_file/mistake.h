// What is wrong with a test file, and where.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <tuple>
#include <vector>

namespace orv::app {

/// A place in a text; both count from 1, columns in bytes. Line 0 means the file as a whole.
struct Position {
    int line = 0;
    int column = 0;
    int setting = 0;  ///< from 1: in that setting, which replaces a value of the file; 0: in the file
};

/// One mistake of a test file.
struct Mistake {
    std::string file;  ///< or the option with the mistake
    Position at;
    std::string object;    ///< `Port "Head end"`, or the section; empty when the file as a whole is meant
    std::string property;  ///< property, relation or key; empty when the object itself is meant
    std::string problem;
    std::string expected;  ///< may be empty
    std::string nearest;   ///< the nearest known name; empty when none is near

    /// "<file>:<line>:<column>: <object>, <property>: <problem>; expected <expected>; did you mean
    /// <nearest>?"
    std::string ToString() const;
};

/// Puts mistakes in the order of their positions; those of one place stay as they are.
void SortMistakes(std::vector<Mistake>& mistakes);

/// A mistake of the command line, of an option ("--db") or as a whole ("").
Mistake MakeCommandLineMistake(const std::string& option, const std::string& problem);

/// The mistakes of one file, and of values that replace its own, collected so that all are known at once.
class MistakeList {
  public:
    /// `settings` names the values that replace those of the file.
    explicit MistakeList(std::string file, const std::vector<std::string>& settings = {});

    /// The two parts of a mistake's text: what it is about, and the rest.
    struct Where {
        Position at;
        std::string object = {};
        std::string property = {};
    };
    void Add(const Where& where, const std::string& problem, const std::string& expected = {},
             const std::string& nearest = {});
    /// The value is wrong in any context: do not also report it as unexpected.
    void Settle(Position at) { settled_.emplace(at.setting, at.line, at.column); }

    bool IsEmpty() const { return mistakes_.empty(); }
    std::size_t GetCount() const { return mistakes_.size(); }
    /// Ordered by position, mistakes of the file first; those at the same position in the order of detection.
    std::vector<Mistake> TakeSorted();

  private:
    std::vector<std::string> sources_;
    std::vector<Mistake> mistakes_;
    std::set<std::tuple<int, int, int>> settled_;
};

}  // namespace orv::app
