#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <optional>
#include <string_view>

#include "names.h"
#include "simulation.h"

namespace orv::app {

namespace {

template <class Forms>
std::vector<std::string> NamesOf(const Forms& forms) {
    std::vector<std::string> names;
    for (const auto& form : forms) names.emplace_back(form.name);
    return names;
}

template <class Forms>
auto* FindForm(const Forms& forms, std::string_view name) {
    const auto found =
        std::find_if(forms.begin(), forms.end(), [name](const auto& form) { return form.name == name; });
    return found == forms.end() ? nullptr : &*found;
}

template <class T>
std::optional<T> ParseWhole(std::string_view text, T most = std::numeric_limits<T>::max()) {
    T value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size() || value > most)
        return std::nullopt;
    return value;
}

std::optional<double> ParseNumber(std::string_view text) {
    double value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size() || !std::isfinite(value))
        return std::nullopt;
    return value;
}

/// "0.01" or "1 %"
std::optional<double> ParseFraction(std::string_view text) {
    const bool percent = text.ends_with('%');
    if (percent) text.remove_suffix(1);
    while (percent && text.ends_with(' ')) text.remove_suffix(1);
    auto value = ParseNumber(text);
    if (value && percent) *value /= 100;
    if (value && (*value < 0 || *value > 1)) return std::nullopt;
    return value;
}

constexpr const char* kDelay =
    "milliseconds, {uniform: [least, most]}, {normal: [mean, deviation]} or "
    "{exponential: [shift, mean]}";

/// A member of the section that its error texts name.
struct Key {
    std::string section;  ///< "simulation, ports, Viewers"
    const SourceEntry& entry;

    const SourceNode& Value() const { return entry.value; }
    MistakeList::Where Where() const { return {entry.value.at, section, entry.key.text}; }
};

class SimulationReader {
  public:
    SimulationReader(const SimulatedNames& names, MistakeList& mistakes)
        : names_(names), mistakes_(mistakes) {}

    Simulation Read(const SourceNode& node) {
        static const std::vector<std::string> keys{"seed", "defaults", "ports", "channel_blocks", "faults"};
        Simulation simulation;
        const auto entries = ReadEntries(node, {node.at, "simulation"}, keys);
        // The defaults first, wherever they stand: others begin with them.
        for (const Key& key : entries) {
            if (key.entry.key.text == "defaults") ReadBehaviour(key, simulation.defaults);
        }
        for (const Key& key : entries) {
            const std::string& name = key.entry.key.text;
            if (name == "seed") {
                ReadWhole<std::uint64_t>(key, simulation.seed, 0);
            } else if (name == "ports") {
                ReadBehaviours(key, names_.ports, simulation.defaults, simulation.ports);
            } else if (name == "channel_blocks") {
                ReadBehaviours(key, names_.channel_blocks, simulation.defaults, simulation.channel_blocks);
            } else if (name == "faults") {
                for (const Key& port : ReadEntries(key, names_.ports)) ReadFaults(port, simulation.faults);
            }
        }
        return simulation;
    }

  private:
    /// The entries of a map whose keys are among `known`; the others are mistakes.
    std::vector<Key> ReadEntries(const SourceNode& node, const MistakeList::Where& where,
                                 const std::vector<std::string>& known) {
        std::vector<Key> keys;
        const std::string section = where.object + (where.property.empty() ? "" : ", " + where.property);
        if (node.IsNothing()) return keys;
        if (!node.IsMap()) {
            mistakes_.Add(where, node.DescribeWrong(), "keys and values");
            return keys;
        }
        for (const SourceEntry& entry : node.entries) {
            const std::string& name = entry.key.text;
            if (std::find(known.begin(), known.end(), name) != known.end()) {
                keys.push_back({section, entry});
            } else {
                mistakes_.Add({entry.key.at, section, name}, "this is not known here",
                              known.empty() ? "nothing: the file has no such object" : JoinNames(known),
                              FindNearestName(name, known));
            }
        }
        return keys;
    }
    std::vector<Key> ReadEntries(const Key& key, const std::vector<std::string>& known) {
        return ReadEntries(key.Value(), key.Where(), known);
    }

    void ReadBehaviours(const Key& key, const std::vector<std::string>& known,
                        const il::NetworkBehaviour& defaults,
                        std::map<std::string, il::NetworkBehaviour>& behaviours) {
        for (const Key& object : ReadEntries(key, known)) {
            il::NetworkBehaviour behaviour = defaults;
            ReadBehaviour(object, behaviour);
            behaviours.emplace(object.entry.key.text, behaviour);
        }
    }

    void ReadBehaviour(const Key& key, il::NetworkBehaviour& behaviour) {
        static const std::vector<std::string> members = [] {
            std::vector<std::string> names = NamesOf(GetDelayMembers());
            for (std::string& name : NamesOf(GetNumberMembers())) names.push_back(std::move(name));
            return names;
        }();
        for (const Key& member : ReadEntries(key, members)) {
            const std::string& name = member.entry.key.text;
            if (const DelayMember* delay = FindForm(GetDelayMembers(), name))
                ReadDistribution(member, behaviour.*delay->member);
            if (const NumberMember* number = FindForm(GetNumberMembers(), name))
                ReadNumber(member, *number, behaviour.*number->member);
        }
    }

    void Refuse(const Key& key, const std::string& expected, const std::string& nearest = {}) {
        mistakes_.Add(key.Where(), key.Value().DescribeWrong(), expected, nearest);
    }

    void ReadNumber(const Key& key, const NumberMember& member, double& number) {
        const bool fraction = member.kind == NumberMember::Kind::Fraction;
        const std::string& text = key.Value().text;
        const auto value = fraction ? ParseFraction(text) : ParseNumber(text);
        if (!key.Value().IsText() || !value || (!fraction && *value <= 0)) {
            Refuse(key, fraction ? "a fraction from 0 to 1, or from 0 % to 100 %" : "a number above 0");
            return;
        }
        number = *value;
    }

    void ReadDistribution(const Key& key, il::Distribution& distribution) {
        const SourceNode& value = key.Value();
        const auto constant = ParseNumber(value.text);
        if (value.IsText() && constant && *constant >= 0) {
            distribution = {il::Distribution::Kind::Constant, *constant, 0};
            return;
        }
        if (!value.IsMap() || value.entries.size() != 1) {
            Refuse(key, kDelay);
            return;
        }
        const SourceEntry& entry = value.entries.front();
        const Key form_key{key.section + ", " + key.entry.key.text, entry};
        const auto* form = FindForm(GetDistributionForms(), entry.key.text);
        if (!form) {
            const auto known = NamesOf(GetDistributionForms());
            mistakes_.Add({entry.key.at, form_key.section, entry.key.text}, "this is no distribution",
                          JoinNames(known), FindNearestName(entry.key.text, known));
            return;
        }
        std::vector<double> parameters;
        for (const SourceNode& item : entry.value.items) {
            const auto number = ParseNumber(item.text);
            if (item.IsText() && number && *number >= 0) parameters.push_back(*number);
        }
        const bool ordered = form->kind != il::Distribution::Kind::Uniform || parameters.size() != 2 ||
                             parameters[0] <= parameters[1];
        if (parameters.size() != 2 || entry.value.items.size() != 2 || !ordered) {
            mistakes_.Add(form_key.Where(), "the parameters are wrong",
                          fmt::format("{} in milliseconds, none below 0", form->parameters));
            return;
        }
        distribution = {form->kind, parameters[0], parameters[1]};
    }

    template <class T>
    void ReadWhole(const Key& key, T& number, T least) {
        const auto value = ParseWhole<T>(key.Value().text);
        if (!key.Value().IsText() || !value || *value < least) {
            Refuse(key, fmt::format("a whole number from {} to {}", least, std::numeric_limits<T>::max()));
            return;
        }
        number = *value;
    }

    void ReadFaults(const Key& port, std::map<std::string, il::FaultSchedule>& schedules) {
        if (!port.Value().IsList()) {
            Refuse(port, "a list of faults");
            return;
        }
        il::FaultSchedule& schedule = schedules[port.entry.key.text];
        for (const SourceNode& item : port.Value().items) {
            const std::string section = port.section + ", " + port.entry.key.text;
            bool has_kind = false;
            il::Fault fault;
            for (const Key& key :
                 ReadEntries(item, {item.at, section}, {"kind", "request", "occurrence", "delay_ms"})) {
                const std::string& name = key.entry.key.text;
                if (name == "kind") {
                    has_kind = true;
                    ReadFaultKind(key, fault);
                } else if (name == "occurrence") {
                    ReadWhole<std::uint32_t>(key, fault.occurrence, 1);
                } else if (name == "delay_ms") {
                    ReadWhole<std::uint32_t>(key, fault.delay_ms, 0);
                } else if (key.Value().IsText()) {
                    fault.request = key.Value().text;
                } else {
                    Refuse(key, "the name of a request");
                }
            }
            if ((item.IsMap() || item.IsNothing()) && !has_kind)
                mistakes_.Add({item.at, section, "kind"}, "this is missing",
                              JoinNames(NamesOf(GetFaultForms())));
            schedule.push_back(fault);
        }
    }

    void ReadFaultKind(const Key& key, il::Fault& fault) {
        const auto* form = FindForm(GetFaultForms(), key.Value().text);
        if (form) {
            fault.kind = form->kind;
            return;
        }
        const auto known = NamesOf(GetFaultForms());
        Refuse(key, JoinNames(known), FindNearestName(key.Value().text, known));
    }

    const SimulatedNames& names_;
    MistakeList& mistakes_;
};

}  // namespace

Simulation ReadSimulation(const SourceNode& node, const SimulatedNames& names, MistakeList& mistakes) {
    return SimulationReader(names, mistakes).Read(node);
}

}  // namespace orv::app
