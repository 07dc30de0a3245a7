// Which objects may be children of which.
#pragma once

namespace orv::framework {

class CMetaClass;

/// True when the data model allows objects of `child` below objects of `parent`. The rule of the nearest
/// class in the child's lineage that names parents holds; a lineage that names none allows any parent.
bool CanBeChildOf(const CMetaClass& child, const CMetaClass& parent);

}  // namespace orv::framework
