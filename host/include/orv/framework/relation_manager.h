// The relations declared by the data models.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orv/common/ids.h"

namespace orv::framework {

using common::ClassId;
using common::RelationType;

class CMetaClass;

/// One declared relation: its type and name, and which classes it joins. A relation type may be declared for
/// several pairs of classes.
struct CRelationMeta {
    std::uint32_t type = 0;
    std::string name;
    ClassId source;
    ClassId target;
    std::uint32_t max_targets = 0;  ///< most targets of one source; 0 for no limit
    bool dirties_source = true;     ///< adding or removing a target makes the source dirty
};

class CRelationManager {
  public:
    static CRelationManager& Instance();

    /// The relation of that type between objects of two classes or of their base classes, or null. With
    /// direction 1 the classes change sides: `source` is the class of the relation's target.
    const CRelationMeta* FindRelation(const CMetaClass& source, const CMetaClass& target,
                                      RelationType type) const;
    /// Type of a relation name (without regard to case), 0 when there is none.
    std::uint32_t FindType(std::string_view name) const;
    /// Name of a relation type, empty when there is none.
    std::string GetTypeName(std::uint32_t type) const;
    std::vector<const CRelationMeta*> GetRelations() const;

    /// Throws COrvLogicError when the pair of classes has the type already, or the name belongs to another
    /// type.
    void AddRelation(CRelationMeta relation);

  private:
    CRelationManager();
    ~CRelationManager();

    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::framework
