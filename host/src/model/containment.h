// Which classes can be children of, or below, which others.
#pragma once

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "orv/common/ids.h"

namespace orv::framework {

class CMetaClass;

/// True when the data model allows objects of `child` below objects of `parent`. The rule of the nearest
/// class in the child's lineage that names parents holds; a lineage that names none allows any parent.
bool CanBeChildOf(const CMetaClass& child, const CMetaClass& parent);

/// Which classes can have objects of some wanted classes (or derived ones) below them, at any depth. A walk
/// over the tree leaves out the others, which in a large project are nearly all.
class Holders {
  public:
    explicit Holders(const std::vector<common::ClassId>& wanted);
    bool Contains(const CMetaClass* meta_class) const { return holders_.contains(meta_class); }

    /// Those of one class; worked out once for the classes that are known.
    static const Holders& Of(common::ClassId wanted);

  private:
    std::unordered_set<const CMetaClass*> holders_;
};

}  // namespace orv::framework
