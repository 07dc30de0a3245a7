#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <string_view>

#include "key_reader.h"
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

std::optional<double> ParseNumber(const std::string& text) {
    return ParseValue<double>(framework::PropertyType::Double, text);
}

/// "0.01" or "1 %"
std::optional<double> ParseFraction(std::string text) {
    const bool percent = text.ends_with('%');
    if (percent) text.pop_back();
    while (percent && text.ends_with(' ')) text.pop_back();
    auto value = ParseNumber(text);
    if (value && percent) *value /= 100;
    if (value && (*value < 0 || *value > 1)) return std::nullopt;
    return value;
}

bool IsDelay(std::optional<double> number) {
    return number && *number >= 0 && *number <= kLongestDelayMs;
}

std::string DescribeDelay() {
    return fmt::format(
        "milliseconds from 0 to {}, {{uniform: [least, most]}}, {{normal: [mean, deviation]}} or "
        "{{exponential: [shift, mean]}}",
        kLongestDelayMs);
}

class SimulationReader : KeyReader {
  public:
    SimulationReader(const SimulatedNames& names, MistakeList& mistakes)
        : KeyReader(mistakes), ports_(names.ports), channel_blocks_(names.channel_blocks) {}

    Simulation Read(const SourceNode& node) {
        KnownNames keys({"seed", "defaults", "ports", "channel_blocks", "faults"});
        Simulation simulation;
        const auto entries = ReadEntries(node, {node.at, "simulation"}, keys);
        // The defaults first, wherever they are in the file: the others are based on them.
        for (const Key& key : entries) {
            if (key.entry.key.text == "defaults")
                simulation.defaults = ReadBehaviour(key).ApplyTo(simulation.defaults);
        }
        for (const Key& key : entries) {
            const std::string& name = key.entry.key.text;
            if (name == "seed") {
                ReadWhole<std::uint64_t>(key, simulation.seed, 0, std::numeric_limits<std::uint64_t>::max());
            } else if (name == "ports") {
                for (const Key& port : ReadEntries(key, ports_))
                    simulation.ports[port.entry.key.text] = ReadBehaviour(port).ApplyTo(simulation.defaults);
            } else if (name == "channel_blocks") {
                for (const Key& block : ReadEntries(key, channel_blocks_))
                    simulation.channel_blocks[block.entry.key.text] = ReadBehaviour(block);
            } else if (name == "faults") {
                for (const Key& port : ReadEntries(key, ports_)) ReadFaults(port, simulation.faults);
            }
        }
        return simulation;
    }

  private:
    BehaviourChange ReadBehaviour(const Key& key) {
        BehaviourChange change;
        for (const Key& member : ReadEntries(key, members_)) {
            const std::string& name = member.entry.key.text;
            if (const DelayMember* delay = FindForm(GetDelayMembers(), name)) {
                if (const auto value = ReadDistribution(member))
                    change.delays.emplace_back(delay->member, *value);
            } else if (const NumberMember* number = FindForm(GetNumberMembers(), name)) {
                if (const auto value = ReadNumber(member, *number))
                    change.numbers.emplace_back(number->member, *value);
            }
        }
        return change;
    }

    std::optional<double> ReadNumber(const Key& key, const NumberMember& member) const {
        const bool fraction = member.kind == NumberMember::Kind::Fraction;
        const std::string& text = key.Value().text;
        const auto value = fraction ? ParseFraction(text) : ParseNumber(text);
        if (!key.Value().IsText() || !value || (!fraction && *value <= 0) || *value > member.most) {
            Refuse(key, fraction ? "a fraction from 0 to 1, or from 0 % to 100 %"
                                 : fmt::format("a number above 0, at most {}", member.most));
            return std::nullopt;
        }
        return value;
    }

    std::optional<il::Distribution> ReadDistribution(const Key& key) const {
        const SourceNode& value = key.Value();
        const auto constant = ParseNumber(value.text);
        if (value.IsText() && IsDelay(constant))
            return il::Distribution{il::Distribution::Kind::Constant, *constant, 0};
        if (!value.IsMap() || value.entries.size() != 1) {
            Refuse(key, DescribeDelay());
            return std::nullopt;
        }
        const SourceEntry& entry = value.entries.front();
        const Key form_key{key.section + ", " + key.entry.key.text, entry};
        const auto* form = FindForm(GetDistributionForms(), entry.key.text);
        if (!form) {
            const auto known = NamesOf(GetDistributionForms());
            Mistakes().Add({entry.key.at, form_key.section, entry.key.text}, "this is no distribution",
                           JoinNames(known), FindNearestName(entry.key.text, known));
            return std::nullopt;
        }
        std::vector<double> parameters;
        for (const SourceNode& item : entry.value.items) {
            const auto number = ParseNumber(item.text);
            if (item.IsText() && IsDelay(number)) parameters.push_back(*number);
        }
        const bool ordered = form->kind != il::Distribution::Kind::Uniform || parameters.size() != 2 ||
                             parameters[0] <= parameters[1];
        if (parameters.size() != 2 || entry.value.items.size() != 2 || !ordered) {
            Mistakes().Add(
                form_key.Where(), "the parameters are wrong",
                fmt::format("{} in milliseconds, each from 0 to {}", form->parameters, kLongestDelayMs));
            return std::nullopt;
        }
        return il::Distribution{form->kind, parameters[0], parameters[1]};
    }

    void ReadFaults(const Key& port, std::map<std::string, il::FaultSchedule>& schedules) {
        if (!port.Value().IsList()) {
            Refuse(port, "a list of faults");
            return;
        }
        il::FaultSchedule& schedule = schedules[port.entry.key.text];
        const std::string section = port.section + ", " + port.entry.key.text;
        for (const SourceNode& item : port.Value().items) schedule.push_back(ReadFault(item, section));
    }

    il::Fault ReadFault(const SourceNode& item, const std::string& section) {
        il::Fault fault;
        const auto keys = ReadEntries(item, {item.at, section}, fault_keys_);
        const auto is_kind = [](const Key& key) { return key.entry.key.text == "kind"; };
        const auto kind = std::find_if(keys.begin(), keys.end(), is_kind);
        const FaultForm* form = kind == keys.end() ? nullptr : ReadFaultKind(*kind);
        if (form) fault.kind = form->kind;
        if (kind == keys.end() && (item.IsMap() || item.IsNothing()))
            Mistakes().Add({item.at, section, "kind"}, "this is missing",
                           JoinNames(NamesOf(GetFaultForms())));
        bool has_delay = false;
        for (const Key& key : keys) {
            const std::string& name = key.entry.key.text;
            has_delay |= name == "delay_ms";
            if (form &&
                ((name == "request" && !form->takes_request) || (name == "delay_ms" && !form->takes_delay))) {
                Mistakes().Add({key.entry.key.at, section, name},
                               fmt::format("a fault of kind {} takes none", form->name));
            } else if (name == "request") {
                ReadRequest(key, fault.request);
            } else if (name == "occurrence") {
                ReadWhole<std::uint32_t>(key, fault.occurrence, 1, std::numeric_limits<std::uint32_t>::max());
            } else if (name == "delay_ms") {
                ReadWhole<std::uint32_t>(key, fault.delay_ms, 1, kLongestDelayMs);
            }
        }
        if (form && form->takes_delay && !has_delay)
            Mistakes().Add({item.at, section, "delay_ms"}, "this is missing",
                           DescribeWhole(1, kLongestDelayMs));
        return fault;
    }

    const FaultForm* ReadFaultKind(const Key& key) {
        const auto* form = FindForm(GetFaultForms(), key.Value().text);
        if (form) return form;
        const auto known = NamesOf(GetFaultForms());
        Refuse(key, JoinNames(known), FindNearestName(key.Value().text, known));
        return nullptr;
    }

    void ReadRequest(const Key& key, std::string& request) {
        const auto& known = il::GetRequestNames();
        const std::string& text = key.Value().text;
        if (key.Value().IsText() && std::binary_search(known.begin(), known.end(), text)) {
            request = text;
            return;
        }
        // Logs show the name with its message set.
        const std::string nearest = FindNearestName(text.substr(text.find('.') + 1), known);
        Refuse(key, nearest.empty() ? "one of " + JoinNames(known) : "the name of a request", nearest);
    }

    static KnownNames GetBehaviourMembers() {
        std::vector<std::string> names = NamesOf(GetDelayMembers());
        for (std::string& name : NamesOf(GetNumberMembers())) names.push_back(std::move(name));
        return KnownNames(std::move(names));
    }

    KnownNames ports_;
    KnownNames channel_blocks_;
    KnownNames members_ = GetBehaviourMembers();
    KnownNames fault_keys_{{"kind", "request", "occurrence", "delay_ms"}};
};

}  // namespace

Simulation ReadSimulation(const SourceNode& node, const SimulatedNames& names, MistakeList& mistakes) {
    return SimulationReader(names, mistakes).Read(node);
}

}  // namespace orv::app
