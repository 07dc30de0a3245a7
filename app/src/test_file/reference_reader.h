// References from one object of a test file to another.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "names.h"
#include "plan.h"
#include "source_tree.h"

namespace orv::app {

/// Finds what the references of a file lead to, when all objects are in the plan. Equal ones are looked up
/// once: thousands of objects may name the same one.
class ReferenceReader {
  public:
    ReferenceReader(const Plan& plan, MistakeList& mistakes) : plan_(plan), mistakes_(mistakes) {}

    /// The one object that a reference leads to. What is wrong with it is said of a property or relation of
    /// `object`.
    std::optional<std::size_t> Resolve(const SourceNode& reference, std::size_t object,
                                       const std::string& property);

  private:
    const std::vector<std::size_t>& Find(const std::string& text);
    std::string FindNearest(const std::string& text);

    const Plan& plan_;
    MistakeList& mistakes_;
    std::unordered_map<std::string, std::vector<std::size_t>> found_;
    // Made when the first is asked for.
    std::optional<KnownNames> names_;
    std::optional<KnownNames> paths_;
};

}  // namespace orv::app
