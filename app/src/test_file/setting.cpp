#include "setting.h"

#include <utility>

#include "names.h"
#include "orv/common/text.h"
#include "reference_reader.h"

namespace orv::app {

namespace {

/// All of it stands where the setting does.
void Place(SourceNode& node, Position at) {
    node.at = at;
    for (SourceNode& item : node.items) Place(item, at);
    for (SourceEntry& entry : node.entries) {
        Place(entry.key, at);
        Place(entry.value, at);
    }
}

SourceNode MakeText(std::string text, Position at) {
    SourceNode node;
    node.kind = SourceNode::Kind::Text;
    node.at = at;
    node.text = std::move(text);
    return node;
}

}  // namespace

bool SettingTarget::IsSameAs(const SettingTarget& other) const {
    return object == other.object && common::EqualIgnoringCase(property, other.property);
}

void SettingReader::Read(const std::vector<std::string>& settings, std::vector<ObjectEntry>& entries) {
    for (std::size_t i = 0; i < settings.size(); ++i) ReadOne(settings[i], static_cast<int>(i) + 1, entries);
}

std::optional<SettingTarget> SettingReader::FindTarget(const std::string& name, Position at) {
    const std::size_t slash = name.rfind('/');
    if (slash == name.npos || slash == 0 || slash + 1 == name.size()) {
        at.setting > 0 ? mistakes_.Add({at}, "this sets nothing", "NAME/Property=VALUE")
                       : mistakes_.Add({at, {}, name}, "this names no property", "NAME/Property");
        return std::nullopt;
    }
    const std::string property = name.substr(slash + 1);
    if (common::EqualIgnoringCase(property, kChildren)) {
        mistakes_.Add({at, {}, property}, "objects cannot be set, but stand in the file",
                      "a property or relation");
        return std::nullopt;
    }
    ReferenceReader references(plan_, mistakes_);
    const auto object = references.Resolve(
        MakeText(name.substr(0, slash), at),
        [&property](const CMetaClass& meta_class) { return HasKey(meta_class, property); },
        [at] { return MistakeList::Where{at}; });
    if (!object) return std::nullopt;
    return SettingTarget{*object, property, at};
}

void SettingReader::Clear(const SettingTarget& target, std::vector<ObjectEntry>& entries) {
    std::erase_if(entries, [&target](const ObjectEntry& entry) {
        return target.IsSameAs({entry.object, entry.entry->key.text, {}});
    });
}

void SettingReader::Add(const SettingTarget& target, SourceNode value, std::vector<ObjectEntry>& entries) {
    // Objects that are created with their parent may not be in the file.
    plan_.At(target.object).is_written = true;
    texts_.push_back({MakeText(target.property, target.at), std::move(value)});
    entries.push_back({target.object, &texts_.back()});
}

void SettingReader::ReadOne(const std::string& setting, int number, std::vector<ObjectEntry>& entries) {
    const Position at{0, 0, number};
    const std::size_t equals = setting.find('=');
    const auto target = FindTarget(equals == setting.npos ? "" : setting.substr(0, equals), at);
    if (!target) return;
    MistakeList mistakes_of_value({});
    // An empty value means no value, as in the file.
    const std::string text = setting.substr(equals + 1);
    SourceNode value = text.empty() ? SourceNode() : ReadSourceTree(text, mistakes_of_value);
    Place(value, at);
    if (!mistakes_of_value.IsEmpty()) {
        for (const Mistake& mistake : mistakes_of_value.TakeSorted())
            mistakes_.Add({at, plan_.Describe(target->object), target->property}, mistake.problem,
                          mistake.expected);
        return;
    }
    Clear(*target, entries);
    Add(*target, std::move(value), entries);
    targets_.push_back(*target);
}

}  // namespace orv::app
