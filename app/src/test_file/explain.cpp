#include "explain.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <vector>

#include "names.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/ids/framework_ids.h"
#include "output/text_table.h"
#include "vocabulary.h"

namespace orv::app {

using framework::CMetaClassManager;
using framework::PropertyType;

namespace {

using Classes = std::vector<const CMetaClass*>;

bool Contains(const Classes& classes, const CMetaClass& meta_class) {
    return std::find(classes.begin(), classes.end(), &meta_class) != classes.end();
}

/// Properties that a file can give: the class's own before those that all objects have.
std::vector<const CPropertyMeta*> FindProperties(const CMetaClass& meta_class) {
    std::vector<const CPropertyMeta*> properties = meta_class.GetProperties();
    std::erase_if(properties, [](const CPropertyMeta* property) { return !CanBeWritten(*property); });
    std::stable_partition(properties.begin(), properties.end(), [](const CPropertyMeta* property) {
        return property->id.GetClassId() != ids::Scriptable::CLASS;
    });
    return properties;
}

std::string ListClasses() {
    std::string text;
    const Classes offered = GetOfferedClasses();
    for (const bool commands : {false, true}) {
        TextTable table(
            {{commands ? "Commands of the sequence" : "Objects of the project"}, {"What they are"}});
        for (const CMetaClass* one : offered) {
            const auto& definition = one->GetDefinition();
            const std::string& meaning = definition.doc.empty() ? definition.display_name : definition.doc;
            if (IsCommand(*one) == commands) table.AddRow({definition.name, meaning});
        }
        text += table.ToString() + "\n";
    }
    return text + "iptvtest explain CLASS explains one of them.\n";
}

std::string DescribeProperty(const CPropertyMeta& property, const CMetaClass& owner) {
    std::string text = fmt::format("  {}: {}", property.name, DescribeExpected(property, owner));
    const auto targets = GetTargetClasses(property);
    if (!targets.empty()) text += " of class " + JoinNames(DescribeClasses(targets));
    if (const std::string* unit = property.FindAttribute("unit")) text += ", in " + *unit;
    if (const std::string shown = GetDefaultText(property, owner); !shown.empty())
        text += "; default " + shown;
    text += '\n';
    if (const std::string* doc = property.FindAttribute("doc")) text += "      " + *doc + "\n";
    return text;
}

/// Each type once.
std::vector<const CRelationMeta*> ListRelations(const CMetaClass& meta_class) {
    std::vector<const CRelationMeta*> relations;
    std::set<std::uint32_t> seen;
    for (const CRelationMeta* relation : GetRelationsOf(meta_class)) {
        if (seen.insert(relation->type).second) relations.push_back(relation);
    }
    return relations;
}

std::string DescribeTargets(const CRelationMeta& relation, const CMetaClass& meta_class) {
    return JoinNames(DescribeClasses(GetTargetClasses(relation.type, meta_class)));
}

std::string DescribeRelations(const CMetaClass& meta_class) {
    std::string text;
    for (const CRelationMeta* relation : ListRelations(meta_class)) {
        text += fmt::format("  {}: names or paths of objects, each of class {}{}\n", relation->name,
                            DescribeTargets(*relation, meta_class),
                            relation->max_targets ? fmt::format("; at most {}", relation->max_targets) : "");
    }
    return text;
}

/// Why a file cannot hold such an object; empty when it can.
std::string FindHindrance(const CMetaClass& meta_class) {
    if (&meta_class == &GetProjectClass())
        return "The section \"project\" of a file lists what is below it.\n";
    if (Contains(GetOfferedClasses(), meta_class)) return {};
    const std::string described = DescribeClasses({&meta_class}).front();
    if (!meta_class.GetDefinition().is_abstract) return "Objects of this class are the host's own.\n";
    const std::size_t meant = described.find('(');
    return meant == described.npos ? "The class is abstract.\n"
                                   : "The class is abstract; a file has one of " +
                                         described.substr(meant + 1, described.size() - meant - 2) + ".\n";
}

// --- Examples

/// A text of the file that reads back as this one.
std::string QuoteValue(const std::string& text) {
    const bool plain = std::all_of(text.begin(), text.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) || c == '.' || c == '_';
    });
    if (plain) return text;
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? "''" : std::string(1, c);
    return quoted + "'";
}

/// Classes from one that stands in a section down to the one that is asked for; empty for none.
Classes FindLineage(const CMetaClass& meta_class, const Classes& offered, const Classes& below) {
    const CMetaClass& root = IsCommand(meta_class) ? GetSequencerClass() : GetProjectClass();
    if (CanStandBelow(meta_class, root)) return {&meta_class};
    for (const CMetaClass* parent : offered) {
        if (Contains(below, *parent) || !CanStandBelow(meta_class, *parent)) continue;
        Classes further = below;
        further.push_back(parent);
        Classes lineage = FindLineage(*parent, offered, further);
        if (lineage.empty()) continue;
        lineage.push_back(&meta_class);
        return lineage;
    }
    return {};
}

std::string MakeExample(const CMetaClass& meta_class) {
    const Classes lineage = FindLineage(meta_class, GetOfferedClasses(), {&meta_class});
    if (lineage.empty()) return {};
    std::string text = IsCommand(meta_class) ? "project:\nsequence:\n" : "project:\n";
    std::string indent = "  ";
    for (const CMetaClass* one : lineage) {
        text += fmt::format("{}- {}: {}\n", indent, one->GetName(), "My " + one->GetName());
        indent += "  ";
        if (one == lineage.back()) continue;
        text += indent + "children:\n";
        indent += "  ";
    }
    for (const CPropertyMeta* property : FindProperties(meta_class)) {
        const std::string value = GetDefaultText(*property, meta_class);
        const bool is_own = property->id.GetClassId() != ids::Scriptable::CLASS;
        if (is_own && !value.empty())
            text += fmt::format("{}{}: {}\n", indent, property->name, QuoteValue(value));
    }
    // They refer to other objects of the file.
    for (const CRelationMeta* relation : ListRelations(meta_class))
        text += fmt::format("{}# {}: the name of an object of class {}\n", indent, relation->name,
                            DescribeTargets(*relation, meta_class));
    return text;
}

std::string Indent(const std::string& text) {
    std::string indented;
    bool begins = true;
    for (const char c : text) {
        if (begins) indented += "  ";
        indented += c;
        begins = c == '\n';
    }
    return indented;
}

std::string Explain(const CMetaClass& meta_class) {
    const auto& definition = meta_class.GetDefinition();
    std::string text = meta_class.GetName() + (definition.doc.empty() ? "" : ": " + definition.doc) + "\n";
    const std::string hindrance = FindHindrance(meta_class);
    text += hindrance;
    if (const auto parents = GetParentClasses(meta_class); !parents.empty())
        text += "Stands below: " + JoinNames(DescribeClasses(parents)) + ".\n";
    const auto below = GetClassesBelow(meta_class);
    if (!IsCommand(meta_class) && hindrance.empty() && !below.empty())
        text += "Can have as children: " + JoinNames(GetNames(below)) + ".\n";
    std::string properties;
    for (const CPropertyMeta* property : FindProperties(meta_class))
        properties += DescribeProperty(*property, meta_class);
    if (!properties.empty()) text += "\nProperties\n" + properties;
    if (const std::string relations = DescribeRelations(meta_class); !relations.empty())
        text += "\nRelations\n" + relations;
    if (hindrance.empty()) text += "\nExample\n" + Indent(MakeExample(meta_class));
    return text;
}

}  // namespace

Explanation ExplainClass(const std::string& class_name) {
    if (class_name.empty()) return {true, ListClasses()};
    const auto& classes = CMetaClassManager::Instance();
    if (const CMetaClass* meta_class = classes.GetClass(class_name)) return {true, Explain(*meta_class)};
    const std::string nearest = FindNearestName(class_name, GetNames(classes.GetClasses()));
    return {false,
            fmt::format("iptvtest: no data model has the class \"{}\"; {}\n", MakePrintable(class_name),
                        nearest.empty() ? "iptvtest explain lists them" : "did you mean " + nearest + "?")};
}

}  // namespace orv::app
