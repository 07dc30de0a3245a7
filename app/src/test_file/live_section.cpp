#include "live_section.h"

#include "key_reader.h"

namespace orv::app {

namespace {

class LiveSectionReader : KeyReader {
  public:
    explicit LiveSectionReader(MistakeList& mistakes) : KeyReader(mistakes) {}

    nic::MembershipSettings Read(const SourceNode& node) const {
        KnownNames keys({"report_suppression", "robustness"});
        nic::MembershipSettings settings;
        for (const Key& key : ReadEntries(node, {node.at, "live"}, keys)) {
            if (key.entry.key.text == "robustness") {
                ReadWhole(key, settings.robustness, kLeastRobustness, kMostRobustness);
            } else {
                ReadBool(key, settings.suppress_reports);
            }
        }
        return settings;
    }
};

}  // namespace

nic::MembershipSettings ReadLiveSection(const SourceNode& node, MistakeList& mistakes) {
    return LiveSectionReader(mistakes).Read(node);
}

}  // namespace orv::app
