// References from one object of a test file to another.
#pragma once

#include <cstddef>
#include <functional>
#include <map>
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

    using Fits = std::function<bool(const CMetaClass&)>;
    using Where = std::function<MistakeList::Where()>;
    /// The object that a reference refers to; of several, the one whose class fits. A single one is returned
    /// even if its class does not fit.
    std::optional<std::size_t> Resolve(const SourceNode& reference, const Fits& fits, const Where& where);

  private:
    /// Results by text and class, so that equal references do not search all objects again.
    struct Found {
        std::vector<std::size_t> all;
        std::map<const CMetaClass*, std::vector<std::size_t>> by_class;
    };
    const Found& Find(const std::string& text);
    std::string FindNearest(const std::string& text);

    const Plan& plan_;
    MistakeList& mistakes_;
    std::unordered_map<std::string, Found> found_;
    // Created on first use.
    std::optional<KnownNames> names_;
    std::optional<KnownNames> paths_;
};

}  // namespace orv::app
