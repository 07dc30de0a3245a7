#include "data_model_reader.h"

#include <fmt/format.h>

#include "orv/common/exceptions.h"
#include "strict_yaml.h"

namespace orv::framework {

namespace {

/// Scriptable, the base of all classes.
constexpr ClassId kRootClass = 0x1000;

EnumDefinition ReadEnumeration(const NamedLine& name, const StrictNode& node) {
    CheckIdentifier(name);
    EnumDefinition definition{{name.name, {}, {}}, name.where};
    const StrictMap map(node);
    for (const auto& [key, value] : map.Entries()) {
        CheckIdentifier(key);
        const std::int64_t number = value.Integer();
        if (const std::string* known = definition.meta.FindName(number)) {
            value.Fail("enumeration " + name.name + ": " + key.name + " has the value of " + *known);
        }
        if (definition.meta.FindValue(key.name)) {
            FailAt(key.where, "enumeration " + name.name + " has the name " + key.name + " twice");
        }
        definition.meta.values.emplace_back(key.name, number);
    }
    if (definition.meta.values.empty()) FailAt(name.where, "enumeration " + name.name + " has no values");
    return definition;
}

/// The enumeration's values under other names.
void ReadAliases(const StrictNode& node, EnumDefinition& definition) {
    CEnumMeta& meta = definition.meta;
    const StrictMap map(node);
    for (const auto& [alias, name] : map.Entries()) {
        CheckIdentifier(alias);
        const auto value = meta.FindValue(name.Text());
        if (!value) name.Fail("enumeration " + meta.name + " has no name " + name.Text());
        if (meta.FindValue(alias.name))
            FailAt(alias.where, "enumeration " + meta.name + " has the name " + alias.name + " twice");
        meta.aliases.emplace_back(alias.name, *value);
    }
}

std::vector<NamedLine> ReadNames(const StrictNode& list) {
    std::vector<NamedLine> names;
    for (const auto& entry : list.List()) names.push_back(entry.Name());
    return names;
}

std::vector<NamedLine> ReadNames(const StrictMap& map, const char* key) {
    const auto list = map.Find(key);
    return list ? ReadNames(*list) : std::vector<NamedLine>();
}

std::string JoinWords(const std::vector<NamedLine>& names) {
    std::string words;
    for (const NamedLine& name : names) words += (words.empty() ? "" : " ") + name.name;
    return words;
}

/// The attribute "of" is the names of the classes, separated by blanks.
void ReadTargetClasses(const StrictMap& map, PropertyDefinition& definition) {
    const auto of = map.Find("of");
    if (!of) return;
    CPropertyMeta& meta = definition.meta;
    if (meta.type != PropertyType::Handle)
        of->Fail("property " + meta.name + ": only handles are of classes, not " + GetTypeName(meta.type));
    definition.of = ReadNames(map, "of");
    if (definition.of.empty()) of->Fail("property " + meta.name + ": the list of classes is empty");
    meta.attributes["of"] = JoinWords(definition.of);
}

/// The attribute "only <class>" is the names of the values, separated by blanks.
void ReadValuesOfClasses(const StrictMap& map, PropertyDefinition& definition) {
    const auto only = map.Find("only");
    if (!only) return;
    if (!map.Find("enum"))
        only->Fail("property " + definition.meta.name + ": only enumerations have such values");
    const StrictMap classes(*only);
    for (const auto& [class_name, values] : classes.Entries()) {
        definition.only.emplace_back(class_name, ReadNames(values));
        definition.meta.attributes["only " + class_name.name] = JoinWords(definition.only.back().second);
    }
}

PropertyDefinition ReadProperty(ClassId class_id, const StrictNode& node) {
    const StrictMap map(node);
    map.AllowOnly({"name", "id", "type", "default", "min", "max", "enum", "collection", "nullable",
                   "read-only", "transient", "display", "unit", "doc", "of", "only"});
    PropertyDefinition definition;
    definition.where = node.Where();
    CPropertyMeta& meta = definition.meta;
    meta.name = map.Get("name").Identifier();
    const auto id = map.Get("id");
    meta.id = id.U32();
    if (meta.id.GetClassId() != class_id || meta.id.GetValue() == class_id.GetValue()) {
        id.Fail(fmt::format("property {}: id {:#010x} is outside its class {:#010x}", meta.name,
                            meta.id.GetValue(), class_id.GetValue()));
    }
    const auto type = map.Get("type");
    try {
        meta.type = ParseTypeName(type.Text());
    } catch (const common::COrvRunTimeError& error) {
        type.Fail("property " + meta.name + ": " + error.what());
    }
    const auto flag = [&map](const char* key) { return map.Find(key) && map.Find(key)->Bool(); };
    meta.collection = flag("collection");
    meta.nullable = flag("nullable");
    meta.read_only = flag("read-only");
    meta.transient = flag("transient");
    if (const auto minimum = map.Find("min")) meta.minimum = minimum->Number();
    if (const auto maximum = map.Find("max")) meta.maximum = maximum->Number();
    for (const auto& [key, attribute] :
         {std::pair("display", "displayName"), {"unit", "unit"}, {"doc", "doc"}}) {
        if (const auto text = map.Find(key)) meta.attributes[attribute] = text->Text();
    }
    ReadTargetClasses(map, definition);
    ReadValuesOfClasses(map, definition);
    if (const auto enumeration = map.Find("enum")) definition.enumeration = enumeration->Name();
    if (const auto value = map.Find("default")) {
        definition.default_where = value->Where();
        definition.default_texts.emplace();
        if (meta.collection) {
            for (const auto& element : value->List()) definition.default_texts->push_back(element.Text());
        } else {
            definition.default_texts->push_back(value->Text());
        }
    }
    return definition;
}

ClassDefinition ReadClass(std::uint32_t model_id, const StrictNode& node) {
    const StrictMap map(node);
    map.AllowOnly({"name", "id", "base", "display", "abstract", "singleton", "parents", "children", "doc",
                   "properties"});
    ClassDefinition definition;
    definition.where = node.Where();
    CMetaClass::Definition& meta = definition.meta;
    meta.name = map.Get("name").Identifier();
    const auto id = map.Get("id");
    meta.id = id.U32();
    if ((meta.id.GetValue() & 0xfff) != 0 || meta.id.GetValue() == 0) {
        id.Fail(fmt::format("class {}: the low twelve bits of the id {:#010x} must be zero", meta.name,
                            meta.id.GetValue()));
    }
    if (meta.id.GetPluginId() != model_id >> 24) {
        id.Fail(fmt::format("class {}: id {:#010x} is outside the data model {:#010x}", meta.name,
                            meta.id.GetValue(), model_id));
    }
    const bool is_root = meta.id == kRootClass;
    if (const auto base = map.Find("base")) {
        if (is_root) base->Fail("class " + meta.name + " is the base of all classes and has none itself");
        definition.base = base->Name();
    } else if (!is_root) {
        FailAt(definition.where, "class " + meta.name + ": key \"base\" is missing");
    }
    if (const auto display = map.Find("display")) meta.display_name = display->Text();
    if (const auto doc = map.Find("doc")) meta.doc = doc->Text();
    meta.is_abstract = map.Find("abstract") && map.Find("abstract")->Bool();
    meta.is_singleton = map.Find("singleton") && map.Find("singleton")->Bool();
    definition.parents = ReadNames(map, "parents");
    definition.children = ReadNames(map, "children");
    if (const auto properties = map.Find("properties")) {
        for (const auto& entry : properties->List())
            definition.properties.push_back(ReadProperty(meta.id, entry));
    }
    return definition;
}

RelationDefinition ReadRelation(const StrictNode& node) {
    const StrictMap map(node);
    map.AllowOnly({"name", "id", "from", "to", "max", "dirties-source"});
    RelationDefinition definition;
    definition.where = node.Where();
    definition.name = map.Get("name").Identifier();
    definition.type = map.Get("id").U32();
    if (definition.type == 0) map.Get("id").Fail("relation " + definition.name + ": the id must not be 0");
    definition.from = map.Get("from").Name();
    definition.to = map.Get("to").Name();
    if (const auto most = map.Find("max")) definition.max_targets = most->U32();
    if (const auto dirties = map.Find("dirties-source")) definition.dirties_source = dirties->Bool();
    return definition;
}

}  // namespace

std::uint32_t ReadDataModelId(const std::filesystem::path& path) {
    return StrictMap(LoadStrictYaml(path)).Get("datamodel").U32();
}

DataModelFile ReadDataModelFile(const std::filesystem::path& path) {
    const StrictMap map(LoadStrictYaml(path));
    map.AllowOnly({"datamodel", "name", "requires", "enumerations", "enumeration-aliases", "classes",
                   "relations", "default-children"});
    DataModelFile file;
    file.model_id = map.Get("datamodel").U32();
    if ((file.model_id & 0xffffff) != 0)
        map.Get("datamodel").Fail("the low 24 bits of a data model's id must be zero");
    file.name = {map.Get("name").Identifier(), map.Get("name").Where()};
    if (const auto required = map.Find("requires")) {
        for (const auto& entry : required->List())
            file.required_models.emplace_back(entry.U32(), entry.Where());
    }
    if (const auto enumerations = map.Find("enumerations")) {
        const StrictMap named(*enumerations);
        for (const auto& [name, values] : named.Entries())
            file.enumerations.push_back(ReadEnumeration(name, values));
    }
    if (const auto aliases = map.Find("enumeration-aliases")) {
        const StrictMap named(*aliases);
        for (const auto& [name, names] : named.Entries()) {
            const auto found = std::find_if(file.enumerations.begin(), file.enumerations.end(),
                                            [&name = name](const EnumDefinition& definition) {
                                                return definition.meta.name == name.name;
                                            });
            if (found == file.enumerations.end())
                FailAt(name.where, "the file has no enumeration " + name.name);
            ReadAliases(names, *found);
        }
    }
    if (const auto classes = map.Find("classes")) {
        for (const auto& entry : classes->List()) file.classes.push_back(ReadClass(file.model_id, entry));
    }
    if (const auto relations = map.Find("relations")) {
        for (const auto& entry : relations->List()) file.relations.push_back(ReadRelation(entry));
    }
    if (const auto additions = map.Find("default-children")) {
        const StrictMap named(*additions);
        for (const auto& [parent, children] : named.Entries()) {
            for (const auto& child : children.List()) file.default_children.push_back({parent, child.Name()});
        }
    }
    return file;
}

}  // namespace orv::framework
