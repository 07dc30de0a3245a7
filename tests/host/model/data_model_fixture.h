// A folder for data-model files that a test writes.
#pragma once

#include "host/aids.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/relation_manager.h"

namespace host_test {

inline CMetaClassManager& Classes() {
    return CMetaClassManager::Instance();
}

/// The folder is searched by the meta-class manager.
struct DataModelTest : testing::Test {
    DataModelTest() { Classes().AddSearchFolder(folder_.GetPath()); }

    /// The text of the error, with file names relative to the folder.
    std::string ActivationError(std::uint32_t model_id) const {
        std::string text = ThrownBy<COrvRunTimeError>([&] { Classes().ActivateDataModel(model_id); });
        const std::string prefix = folder_ / "";
        for (std::size_t at; (at = text.find(prefix)) != std::string::npos;) text.erase(at, prefix.size());
        return text;
    }

    const Folder folder_;
};

}  // namespace host_test
