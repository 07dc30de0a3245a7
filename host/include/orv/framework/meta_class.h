// Meta-data of a class and of its properties, from the data model.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "orv/common/ids.h"
#include "orv/framework/property_value.h"

namespace orv::framework {

using common::ClassId;
using common::PropId;
using common::RelationType;

class CScriptable;

/// An enumeration of the data model: names and numbers, in the order of the model.
struct CEnumMeta {
    std::string name;
    std::vector<std::pair<std::string, std::int64_t>> values;
    std::vector<std::pair<std::string, std::int64_t>> aliases;  ///< other names that users know values by

    /// By name or alias, without regard to case.
    std::optional<std::int64_t> FindValue(std::string_view value_name) const;
    const std::string* FindName(std::int64_t value) const;
};

/// One property of a class.
struct CPropertyMeta {
    PropId id;
    std::string name;
    PropertyType type = PropertyType::Bool;
    bool collection = false;  ///< a list of values of `type`; its text form is the values separated by blanks
    bool nullable = false;    ///< may hold no value; its text form is then empty
    bool read_only = false;   ///< set by the host only; text from a user is refused
    bool transient =
        false;  ///< run-time state: setting it does not make the object dirty, and it is not saved
    PropertyValue default_value;
    std::optional<double> minimum;  ///< inclusive, numeric types
    std::optional<double> maximum;
    const CEnumMeta* enumeration = nullptr;
    std::map<std::string, std::string> attributes;  ///< "displayName", "doc", "unit"
    std::size_t slot = 0;                           ///< position in an object's row of values

    /// An attribute's text, or null.
    const std::string* FindAttribute(const std::string& attribute) const;

    /// Reads a text into a value of this property: numbers in decimal or 0x hexadecimal, booleans as
    /// true/false, enumerations by name or number. Checks ranges. Throws COrvRunTimeError that names the
    /// property and says what was found and what is allowed.
    PropertyValue Parse(const std::string& text) const;
    /// The text of a value; reading it back gives the same value.
    std::string Format(const PropertyValue& value) const;
    /// Throws COrvRunTimeError when the value is of another type, out of range, no member of the enumeration,
    /// or null where the property is not nullable.
    void Check(const PropertyValue& value) const;
};

using MakeFunction = CScriptable* (*)();
using DestroyFunction = void (*)(CScriptable*);

/// One class. Owned by the meta-class manager; lives until the process ends.
class CMetaClass {
  public:
    struct Definition {
        ClassId id;
        std::string name;  ///< without the leading C of the C++ class
        const CMetaClass* base = nullptr;
        bool is_abstract = false;
        bool is_singleton = false;
        std::string display_name;
        std::string doc;
        std::vector<std::string> parents;  ///< classes an object may be created under; inherited when empty
        std::vector<std::string>
            default_children;  ///< created with an object, beside those of the base class
        std::vector<CPropertyMeta> own_properties;
    };
    explicit CMetaClass(Definition definition);
    CMetaClass(const CMetaClass&) = delete;  // its properties point into it
    CMetaClass& operator=(const CMetaClass&) = delete;

    ClassId GetClassId() const { return definition_.id; }
    const std::string& GetName() const { return definition_.name; }
    const CMetaClass* GetBase() const { return definition_.base; }
    const Definition& GetDefinition() const { return definition_; }

    bool IsTypeOf(ClassId id) const;
    bool IsTypeOf(const CMetaClass& other) const;
    /// Names compare without regard to case, with or without the leading C.
    bool IsTypeOf(std::string_view class_name) const;

    /// Inherited properties first, then the class's own; a property's slot is its position here.
    const std::vector<const CPropertyMeta*>& GetProperties() const { return properties_; }
    /// Constant time. Null when the class has no such property.
    const CPropertyMeta* FindProperty(PropId id) const;
    /// Names compare without regard to case.
    const CPropertyMeta* FindProperty(const std::string& name) const;

    /// The class's default values, one per slot; what a new object's row is copied from.
    const std::vector<PropertyValue>& GetDefaults() const { return defaults_; }

    /// The class's own factory, or that of its nearest base class; null functions when there is none.
    struct Factory {
        MakeFunction make = nullptr;
        DestroyFunction destroy = nullptr;
    };
    Factory GetFactory() const;

    /// Registers the factory pair of a class, which need not be known yet. Registering a class twice throws
    /// COrvLogicError that names it. `make` returns an object without properties; the creator gives it its
    /// class.
    static void InitMakeDestroyFuncs(ClassId id, MakeFunction make, DestroyFunction destroy);
    /// Classes that have a factory of their own, in the order of their ids.
    static std::vector<ClassId> GetClassesWithFactory();

  private:
    Definition definition_;
    std::vector<const CPropertyMeta*> properties_;
    std::vector<PropertyValue> defaults_;
    std::vector<ClassId> lineage_;  ///< from the root class to this one: a type test is one comparison
    struct Bucket {
        std::uint32_t id = 0;
        std::uint32_t slot = 0;
    };
    std::vector<Bucket> slot_by_id_;  ///< open addressing, a power of two
    std::unordered_map<std::string, std::size_t> slot_by_name_;
};

}  // namespace orv::framework
