#include "parsed_file.h"

#include <fmt/format.h>

#include <algorithm>

#include "builder.h"
#include "live_section.h"
#include "names.h"
#include "object_reader.h"
#include "orv/common/exceptions.h"
#include "plan.h"
#include "setting.h"
#include "source_tree.h"
#include "sweep_section.h"
#include "value_reader.h"

namespace orv::app {

namespace {

const std::vector<std::string> kSections{"title",      "project", "sequence", "sweep",
                                         "simulation", "live",    "expect"};

// What runs when the file says nothing else.

constexpr const char* kSequenceWithStreams =
    "- GeneratorStartCommand:\n"
    "- IptvStartTestCommand:\n"
    "- IptvWaitForTestCompletionCommand:\n"
    "- GeneratorStopCommand:\n";
/// The channels that nothing in the file sends come from the network.
constexpr const char* kSequenceWithoutStreams =
    "- IptvStartTestCommand:\n"
    "  TestEnv: REAL_WORLD\n"
    "- IptvWaitForTestCompletionCommand:\n";

bool HasObject(const Plan& plan, const char* class_name) {
    return std::ranges::any_of(plan.Objects(), [class_name](const PlannedObject& object) {
        return object.meta_class && object.meta_class->IsTypeOf(class_name);
    });
}

bool IsBuiltByWizard(const Plan& plan) {
    return HasObject(plan, "IptvWizardTestConfig") || HasObject(plan, "IptvWizardMcastSources") ||
           HasObject(plan, "IptvWizardStbBlock");
}

/// Reads the sections of a file into a plan.
class SectionReader {
  public:
    SectionReader(const SourceNode& root, Plan& plan, MistakeList& mistakes)
        : root_(root),
          plan_(plan),
          mistakes_(mistakes),
          objects_(plan, mistakes),
          settings_(plan, mistakes) {}

    /// `iteration`: the values of the sweep, by index; null without one.
    void Read(const std::vector<std::string>& settings, const std::vector<std::size_t>* iteration) {
        if (!root_.IsMap()) {
            const std::string meant = InsertMissingBlank(root_.text);
            if (meant.empty()) {
                mistakes_.Add({root_.at}, root_.DescribeWrong(), "the sections " + JoinNames(kSections));
            } else {
                mistakes_.Add({root_.at}, kMissingBlank, "\"" + meant + "\"");
            }
            return;
        }
        for (const SourceEntry& entry : root_.entries) CheckKey(entry.key);
        ReadTitle();
        ReadObjects(settings, iteration);
        if (const SourceEntry* section = Find("simulation")) {
            plan_.simulation = ReadSimulation(
                section->value, {plan_.GetNamesOf("Port"), plan_.GetNamesOf("IptvChannelBlock")}, mistakes_);
        }
        if (const SourceEntry* section = Find("live"))
            plan_.live = ReadLiveSection(section->value, mistakes_);
        if (const SourceEntry* section = Find("expect")) ReadExpectations(section->value);
    }

  private:
    const SourceEntry* Find(const std::string& name) const {
        const auto found = std::find_if(root_.entries.begin(), root_.entries.end(),
                                        [&name](const SourceEntry& entry) { return entry.key.text == name; });
        return found == root_.entries.end() ? nullptr : &*found;
    }

    void CheckKey(const SourceNode& key) {
        if (std::find(kSections.begin(), kSections.end(), key.text) != kSections.end()) return;
        const std::string meant = FindNearestName(key.text, kSections);
        has_misspelt_project_ |= meant == "project";
        mistakes_.Add({key.at, {}, key.text}, "this is no section of a test file", JoinNames(kSections),
                      meant);
    }

    void ReadTitle() {
        const SourceEntry* title = Find("title");
        if (!title || title->value.IsNothing()) return;
        if (title->value.IsText()) {
            plan_.title = title->value.text;
        } else {
            mistakes_.Add({title->value.at, {}, "title"}, title->value.DescribeWrong(), "a text");
        }
    }

    void ReadExpectations(const SourceNode& node) {
        plan_.expectations = ReadExpectSection(node, mistakes_);
        // The names of what the wizard makes are not known yet.
        if (!IsBuiltByWizard(plan_))
            CheckSubjects(
                plan_.expectations,
                [this](const std::string& class_name) { return plan_.GetNamesOf(class_name); }, mistakes_);
    }

    void ReadObjects(const std::vector<std::string>& settings, const std::vector<std::size_t>* iteration) {
        const SourceEntry* project = Find("project");
        const SourceEntry* sequence = Find("sequence");
        const Position project_at = project ? project->key.at : root_.at;
        plan_.PlaceSections(project_at, sequence ? sequence->key.at : project_at);
        if (project) {
            objects_.ReadObjects(project->value, Plan::kProject, {project->value.at, {}, "project"});
        } else if (!has_misspelt_project_) {
            mistakes_.Add({root_.at, {}, "project"}, "the section is missing", "the objects of the test");
        }
        if (sequence) {
            plan_.has_sequence = true;
            objects_.ReadObjects(sequence->value, Plan::kSequencer, {sequence->value.at, {}, "sequence"});
        } else {
            default_sequence_ = ReadSourceTree(
                HasObject(plan_, "StreamBlock") ? kSequenceWithStreams : kSequenceWithoutStreams, mistakes_);
            // If these commands lack something, the project lacks it.
            for (SourceNode& item : default_sequence_.items) item.entries.front().key.at = project_at;
            objects_.ReadObjects(default_sequence_, Plan::kSequencer, {project_at, {}, "sequence"});
        }
        std::vector<ObjectEntry> entries = objects_.GetEntries();
        settings_.Read(settings, entries);
        const SourceEntry* section = Find("sweep");
        auto sweep = section ? ReadSweepSection(section->value, mistakes_) : std::optional<Sweep>();
        SweptValues swept(plan_, settings_, mistakes_);
        if (!sweep || !swept.Find(*sweep)) return ReadValues(entries, plan_, mistakes_);
        if (iteration) {
            swept.Replace(*sweep, *iteration, entries);
            return ReadValues(entries, plan_, mistakes_);
        }
        swept.Clear(entries);
        ReadValues(entries, plan_, mistakes_);
        swept.Check(*sweep);
        plan_.sweep = std::move(sweep);
    }

    const SourceNode& root_;
    Plan& plan_;
    MistakeList& mistakes_;
    ObjectReader objects_;
    SettingReader settings_;
    bool has_misspelt_project_ = false;
    SourceNode default_sequence_;
};

}  // namespace

TestFile::TestFile() : plan_(std::make_unique<Plan>()) {}
TestFile::TestFile(TestFile&&) noexcept = default;
TestFile& TestFile::operator=(TestFile&&) noexcept = default;
TestFile::~TestFile() = default;

TestFile TestFile::Parse(const FileText& file, const std::vector<std::string>& settings) {
    return Parse(file, settings, nullptr);
}

TestFile TestFile::MakeIteration(const std::vector<std::size_t>& values) const {
    return Parse({file_, text_, {}}, given_settings_, &values);
}

TestFile TestFile::Parse(const FileText& file, const std::vector<std::string>& settings,
                         const std::vector<std::size_t>* iteration) {
    TestFile test;
    test.file_ = file.name;
    test.text_ = file.text;
    test.given_settings_ = settings;
    for (const std::string& setting : settings) test.settings_.push_back("--set " + setting);
    MistakeList mistakes = test.MakeMistakeList();
    if (file.problem.empty()) {
        const SourceNode root = ReadSourceTree(file.text, mistakes);
        // Text that is not YAML has nothing to check.
        if (mistakes.IsEmpty() || root.IsMap())
            SectionReader(root, *test.plan_, mistakes).Read(settings, iteration);
    } else {
        mistakes.Add({}, file.problem);
    }
    test.mistakes_ = mistakes.TakeSorted();
    return test;
}

MistakeList TestFile::MakeMistakeList() const {
    return MistakeList(file_, settings_);
}

const std::string& TestFile::GetTitle() const {
    return plan_->title;
}

const Simulation& TestFile::GetSimulation() const {
    return plan_->simulation;
}

const std::optional<Sweep>& TestFile::GetSweep() const {
    return plan_->sweep;
}

const LiveSettings& TestFile::GetLiveSettings() const {
    return plan_->live;
}

const Expectations& TestFile::GetExpectations() const {
    return plan_->expectations;
}

std::vector<Mistake> TestFile::FindUnknownSubjects(const NamesOfClass& names_of) const {
    MistakeList mistakes = MakeMistakeList();
    CheckSubjects(plan_->expectations, names_of, mistakes);
    return mistakes.TakeSorted();
}

TestFile::Built TestFile::Build(framework::CScriptable& project, framework::CSequencer& sequencer) const {
    if (!IsGood()) throw common::COrvLogicError("a test file with mistakes cannot be built: " + file_);
    MistakeList mistakes = MakeMistakeList();
    Built built;
    built.objects = Builder(*plan_, mistakes).Build(project, sequencer);
    built.mistakes = mistakes.TakeSorted();
    return built;
}

Mistake TestFile::MakeMistake(const std::string& section, const std::string& problem,
                              const std::string& expected) const {
    const std::size_t root = section == "sequence" ? Plan::kSequencer : Plan::kProject;
    return {file_, plan_->At(root).at, section, {}, problem, expected, {}};
}

Mistake TestFile::MakeMistake(const Built& built, std::uint32_t handle, const std::string& key,
                              const std::string& problem, const std::string& expected) const {
    const std::size_t index = built.objects.at(handle);
    MistakeList mistakes = MakeMistakeList();
    mistakes.Add({plan_->GetPlace(index, key), plan_->Describe(index), key}, problem, expected);
    return mistakes.TakeSorted().front();
}

std::optional<std::string> TestFile::FindReference(const Built& built, std::uint32_t handle) const {
    const auto found = built.objects.find(handle);
    if (found == built.objects.end()) return std::nullopt;
    const std::string& name = plan_->At(found->second).name;
    return name.empty() ? plan_->GetPath(found->second) : name;
}

bool TestFile::HasSequence() const {
    return plan_->has_sequence;
}

std::vector<std::string> TestFile::GetValues(framework::PropId property) const {
    std::vector<std::string> texts;
    for (const PlannedObject& object : plan_->Objects()) {
        for (const PlannedValue& value : object.values) {
            if (value.property->id == property) texts.push_back(value.text);
        }
    }
    return texts;
}

}  // namespace orv::app
