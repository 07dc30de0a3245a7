#include "wizard_run.h"

#include <exception>

#include "mistake_writer.h"
#include "orv/framework/command.h"
#include "orv/framework/scriptable_creator.h"
#include "orv/framework/scriptable_locator.h"
#include "orv/ids/iptv_ids.h"
#include "wizard_check.h"

namespace orv::app {

namespace {

using framework::CScriptable;

CScriptable* FindFirst(common::ClassId id, const CScriptable& project) {
    framework::ScriptableVec objects;
    framework::CScriptableLocator::Instance().GetObjectsEx(
        objects, id, &project, framework::CScriptableLocator::LOCATE_SKIP_DELETED);
    return objects.empty() ? nullptr : objects.front();
}

/// The wizard object by which a mistake is placed: the finish command, or the first of the others.
CScriptable* FindWizardObject(const CScriptable& project) {
    for (const common::ClassId id : {ids::IptvWizardFinishCommand::CLASS, ids::IptvWizardTestConfig::CLASS,
                                     ids::IptvWizardMcastSources::CLASS, ids::IptvWizardStbBlock::CLASS}) {
        if (CScriptable* object = FindFirst(id, project)) return object;
    }
    return nullptr;
}

}  // namespace

void RunWizard(const TestFile& file, const TestFile::Built& built, core::CProject& project,
               RunOutcome& outcome) {
    CScriptable* object = FindWizardObject(project);
    if (!object) return;
    const MistakeWriter writer(file, built);
    const auto complain = [&](const std::string& problem) {
        outcome.mistakes.push_back(writer.Write({object, {}, problem}));
    };
    if (file.HasSequence())
        return complain(
            "the wizard makes the sequence; the file's own section \"sequence\" cannot be run, too");
    for (const ObjectProblem& problem : FindWizardProblems(project))
        outcome.mistakes.push_back(writer.Write(problem));
    if (!outcome.mistakes.empty()) return SortMistakes(outcome.mistakes);
    try {
        auto* finish =
            dynamic_cast<framework::CCommand*>(FindFirst(ids::IptvWizardFinishCommand::CLASS, project));
        if (!finish) {
            framework::CScriptableCreator creator;
            finish = dynamic_cast<framework::CCommand*>(
                creator.Create(ids::IptvWizardFinishCommand::CLASS, &project));
            if (!finish) return complain(creator.GetErrorText());
        }
        finish->Execute(false);
    } catch (const std::exception& error) {
        complain(error.what());
    }
}

}  // namespace orv::app
