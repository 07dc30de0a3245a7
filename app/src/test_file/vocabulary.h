// The classes, properties and relations that a test file can contain, from the active data models.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "orv/framework/meta_class.h"
#include "orv/framework/relation_manager.h"

namespace orv::app {

using framework::CMetaClass;
using framework::CPropertyMeta;
using framework::CRelationMeta;

/// The classes of the two objects that exist before a file is read.
const CMetaClass& GetProjectClass();
const CMetaClass& GetSequencerClass();

bool IsCommand(const CMetaClass& meta_class);
/// Objects of the class can be made from a file: it is not abstract, and its objects are neither results nor
/// the only one of their kind.
bool CanBeWritten(const CMetaClass& meta_class);
/// Classes below which the data model allows objects of a class; empty for any.
std::vector<const CMetaClass*> GetParentClasses(const CMetaClass& child);
/// True if the data model allows such children below such a parent. In addition, the sequence takes commands
/// only, and commands can only be in the sequence.
bool CanStandBelow(const CMetaClass& child, const CMetaClass& parent);
/// Classes that can be written below an object of a class, in the order of their ids; without the command by
/// which the wizard is run, which the program does itself.
std::vector<const CMetaClass*> GetClassesBelow(const CMetaClass& parent);
/// Classes of the objects that a file can contain, directly or indirectly below its project or its sequence.
/// In the order of their ids.
std::vector<const CMetaClass*> GetOfferedClasses();

/// False for the name, which is written after the class, and for properties that only the host sets.
bool CanBeWritten(const CPropertyMeta& property);
/// All relations but those between parents and children.
std::vector<const CRelationMeta*> GetRelations();
/// Those of which objects of a class can be the source.
std::vector<const CRelationMeta*> GetRelationsOf(const CMetaClass& source);

/// Classes of the objects that a relation of that type can lead to from objects of a class.
std::vector<const CMetaClass*> GetTargetClasses(std::uint32_t relation_type, const CMetaClass& source);
/// Classes of the objects that a handle may name; empty for any.
std::vector<const CMetaClass*> GetTargetClasses(const CPropertyMeta& property);

std::vector<std::string> GetNames(const std::vector<const CMetaClass*>& classes);
/// The names, an abstract class followed by its concrete classes: "MulticastHostConfig (IgmpHostConfig,
/// MldHostConfig)".
std::vector<std::string> DescribeClasses(const std::vector<const CMetaClass*>& classes);

/// Names of the values of an enumeration that objects of a class take for a property.
std::vector<std::string> GetValueNames(const CPropertyMeta& property, const CMetaClass& owner);
/// False if names end in numbers that are not their values: "3" would be read as IGMP_V3, but is the value of
/// MLD_V1.
bool TakesNumbers(const framework::CEnumMeta& enumeration);
/// True if the text is the name of such a value, or its number if TakesNumbers. The property must be able to
/// parse it.
bool IsValueOf(const CPropertyMeta& property, const CMetaClass& owner, const std::string& text);

/// The accepted values of a property of objects of a class, in words: "a whole number from 1 to 65535".
std::string DescribeExpected(const CPropertyMeta& property, const CMetaClass& owner);
/// The default of a property for objects of a class, as written in a file; empty if it is not worth showing,
/// or if new objects of the class have another value.
std::string GetDefaultText(const CPropertyMeta& property, const CMetaClass& owner);
/// Smallest and largest value of a whole-number property, as texts.
struct WholeRange {
    std::string low;
    std::string high;
};
WholeRange GetWholeRange(const CPropertyMeta& property);
bool IsWhole(framework::PropertyType type);

}  // namespace orv::app
