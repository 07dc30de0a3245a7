// Turns the files of a model into classes, enumerations and relations, checked against each other and against
// what is active.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "data_model_reader.h"
#include "orv/framework/relation_manager.h"

namespace orv::framework {

/// Everything that a model adds. Nothing of it is visible until it is taken over.
struct BuiltDataModel {
    std::vector<std::unique_ptr<CEnumMeta>> enumerations;
    std::vector<std::unique_ptr<CMetaClass>> classes;  ///< base classes before derived ones
    std::vector<CRelationMeta> relations;
    std::vector<std::pair<const CMetaClass*, const CMetaClass*>> default_children;  ///< parent, child
};

/// Throws COrvRunTimeError "<file>:<line>: <reason>". Uses the meta-class and relation managers read-only.
BuiltDataModel BuildDataModel(const std::vector<DataModelFile>& files);

}  // namespace orv::framework
