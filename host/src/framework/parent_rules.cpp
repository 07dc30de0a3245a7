#include "parent_rules.h"

#include <algorithm>

#include "orv/framework/meta_class.h"

namespace orv::framework {

bool CanBeChildOf(const CMetaClass& child, const CMetaClass& parent) {
    for (const CMetaClass* in_lineage = &child; in_lineage; in_lineage = in_lineage->GetBase()) {
        const auto& allowed = in_lineage->GetDefinition().parents;
        if (allowed.empty()) continue;
        return std::any_of(allowed.begin(), allowed.end(), [&parent](const std::string& name) {
            return parent.IsTypeOf(std::string_view(name));
        });
    }
    return true;
}

}  // namespace orv::framework
