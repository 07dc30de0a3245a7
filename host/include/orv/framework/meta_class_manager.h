// All classes of the active data models.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "orv/framework/meta_class.h"

namespace orv::framework {

/// Data models are YAML files in the `datamodel` folder beside the host library, in its subfolders, and in
/// folders added later; $ORV_DATAMODEL_PATH (a colon-separated list) replaces the first. See
/// docs/data-model.md.
///
/// Not thread-safe: models are activated while the host starts and while plug-ins load.
class CMetaClassManager {
  public:
    static CMetaClassManager& Instance();

    /// Adds a folder in which later activations look.
    void AddSearchFolder(const std::filesystem::path& folder);

    /// Reads the files of a model and makes its classes, properties, enumerations and relations known. A
    /// model that is active already is left alone. Throws COrvRunTimeError with "<file>:<line>: <what is
    /// wrong>" for a file that is malformed (nothing of the model is then active), or naming the folders
    /// searched when no file has the id.
    void ActivateDataModel(std::uint32_t data_model_id);
    bool IsActive(std::uint32_t data_model_id) const;

    /// Null when there is no such class.
    const CMetaClass* GetClass(ClassId id) const;
    /// By name, without regard to case, with or without the leading C. With a base class, only that class or
    /// one derived from it is found. With `required`, an unknown name throws COrvRunTimeError.
    const CMetaClass* GetClass(const std::string& name, const CMetaClass* base = nullptr,
                               bool required = false) const;

    /// All classes in the order of their ids.
    std::vector<const CMetaClass*> GetClasses() const;
    std::size_t GetClassCount() const;

    /// Classes of the children created with every new object of a class: those that the class and its base
    /// classes declare, base classes first, then those that other models add to them.
    std::vector<const CMetaClass*> GetDefaultChildren(const CMetaClass& meta_class) const;

    /// Adds a class that no file declares. For programs that make their own (tests, benchmarks).
    const CMetaClass& AddClass(CMetaClass::Definition definition);

  private:
    CMetaClassManager();
    ~CMetaClassManager();

    struct Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace orv::framework
