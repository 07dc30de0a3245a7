#include "live_section.h"

#include <algorithm>
#include <limits>

#include "key_reader.h"
#include "orv/common/text.h"

namespace orv::app {

namespace {

class LiveSectionReader : KeyReader {
  public:
    explicit LiveSectionReader(MistakeList& mistakes) : KeyReader(mistakes) {}

    LiveSettings Read(const SourceNode& node) const {
        KnownNames keys({"report_suppression", "robustness", "port_mapping", "reduced_size_rtcp", "s_bit",
                         "channel_ssrc_base", "burst_bitrate_limit"});
        LiveSettings settings;
        for (const Key& key : ReadEntries(node, {node.at, "live"}, keys)) ReadSetting(key, settings);
        return settings;
    }

  private:
    void ReadSetting(const Key& key, LiveSettings& settings) const {
        const std::string& name = key.entry.key.text;
        if (name == "report_suppression") {
            ReadBool(key, settings.membership.suppress_reports);
        } else if (name == "robustness") {
            ReadWhole(key, settings.membership.robustness, kLeastRobustness, kMostRobustness);
        } else if (name == "port_mapping") {
            ReadBool(key, settings.unicast.port_mapping);
        } else if (name == "reduced_size_rtcp") {
            ReadBool(key, settings.unicast.reduced_size);
        } else if (name == "s_bit") {
            ReadSbit(key, settings.unicast.sbit);
        } else if (name == "channel_ssrc_base") {
            std::uint32_t ssrc = 0;
            ReadWhole<std::uint32_t>(key, ssrc, 0, std::numeric_limits<std::uint32_t>::max());
            settings.unicast.ssrc_base = ssrc;
        } else {
            ReadWhole<std::uint64_t>(key, settings.unicast.max_bitrate, 0,
                                     std::numeric_limits<std::uint64_t>::max());
        }
    }

    void ReadSbit(const Key& key, nic::UnicastSettings::Sbit& sbit) const {
        const std::vector<std::string>& names = GetSbitNames();
        const auto found = std::ranges::find_if(names, [&key](const std::string& name) {
            return common::EqualIgnoringCase(name, key.Value().text);
        });
        if (!key.Value().IsText() || found == names.end())
            return Refuse(key, JoinNames(names), FindNearestName(key.Value().text, names));
        sbit = static_cast<nic::UnicastSettings::Sbit>(found - names.begin());
    }
};

}  // namespace

const std::vector<std::string>& GetSbitNames() {
    static const std::vector<std::string> names{"AUTOMATIC", "HEADER_EXTENSION", "JOIN_TIME"};
    return names;
}

LiveSettings ReadLiveSection(const SourceNode& node, MistakeList& mistakes) {
    return LiveSectionReader(mistakes).Read(node);
}

}  // namespace orv::app
