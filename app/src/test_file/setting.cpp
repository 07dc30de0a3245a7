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

void SettingReader::Read(const std::vector<std::string>& settings, std::vector<ObjectEntry>& entries) {
    for (std::size_t i = 0; i < settings.size(); ++i) ReadOne(settings[i], static_cast<int>(i) + 1, entries);
}

void SettingReader::ReadOne(const std::string& setting, int number, std::vector<ObjectEntry>& entries) {
    const Position at{0, 0, number};
    const std::size_t equals = setting.find('=');
    const std::size_t slash = equals == setting.npos ? equals : setting.rfind('/', equals);
    if (slash == setting.npos || slash == 0 || slash + 1 == equals) {
        mistakes_.Add({at}, "this sets nothing", "NAME/Property=VALUE");
        return;
    }
    const std::string property = setting.substr(slash + 1, equals - slash - 1);
    if (common::EqualIgnoringCase(property, kChildren)) {
        mistakes_.Add({at, {}, property}, "objects cannot be set, but stand in the file",
                      "a property or relation");
        return;
    }
    ReferenceReader references(plan_, mistakes_);
    const auto object = references.Resolve(
        MakeText(setting.substr(0, slash), at),
        [&property](const CMetaClass& meta_class) { return HasKey(meta_class, property); },
        [at] { return MistakeList::Where{at}; });
    if (!object) return;
    MistakeList mistakes_of_value({});
    // An empty value means no value, as in the file.
    const std::string text = setting.substr(equals + 1);
    SourceNode value = text.empty() ? SourceNode() : ReadSourceTree(text, mistakes_of_value);
    Place(value, at);
    if (!mistakes_of_value.IsEmpty()) {
        for (const Mistake& mistake : mistakes_of_value.TakeSorted())
            mistakes_.Add({at, plan_.Describe(*object), property}, mistake.problem, mistake.expected);
        return;
    }
    std::erase_if(entries, [&](const ObjectEntry& entry) {
        return entry.object == *object && common::EqualIgnoringCase(entry.entry->key.text, property);
    });
    // Objects that are created with their parent may not be in the file.
    plan_.At(*object).is_written = true;
    texts_.push_back({MakeText(property, at), std::move(value)});
    entries.push_back({*object, &texts_.back()});
}

}  // namespace orv::app
