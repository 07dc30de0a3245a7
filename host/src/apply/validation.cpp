#include "orv/framework/validation.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "log/framework_log.h"
#include "model/containment.h"
#include "orv/common/exceptions.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/static_registration.h"

namespace orv::framework {

namespace {

ValidationReport MakeReport(const CScriptable* object, const std::string& source,
                            const std::string& message) {
    ValidationReport report{0, {}, source, message};
    if (object) {
        report.object_handle = object->GetHandle();
        report.object = object->Describe();
    }
    return report;
}

}  // namespace

CBaseValidationContext::~CBaseValidationContext() = default;

void CBaseValidationContext::AddError(const std::string& source, const std::string& message) {
    errors_.push_back(MakeReport(GetReportedObject(), source, message));
}

void CBaseValidationContext::AddWarning(const std::string& source, const std::string& message) {
    warnings_.push_back(MakeReport(GetReportedObject(), source, message));
}

Validator::Validator(std::string category, std::string name, common::ClassId id, Function function,
                     bool enabled)
    : category_(std::move(category)),
      name_(std::move(name)),
      class_id_(id),
      function_(function),
      enabled_(enabled) {
    ORV_ASSERT(function_, "A validator needs a function");
}

ValidatorRegistry& ValidatorRegistry::Instance() {
    static ValidatorRegistry registry;
    return registry;
}

void ValidatorRegistry::RegisterValidator(const Validator* validator) {
    ORV_ASSERT(validator != nullptr, "There is a validator to register");
    auto& of_class = by_class_[validator->GetClassId()];
    const bool doubled = std::any_of(of_class.begin(), of_class.end(), [validator](const Validator* other) {
        return other->GetCategory() == validator->GetCategory() && other->GetName() == validator->GetName();
    });
    if (doubled) {
        throw common::COrvLogicError(
            fmt::format("the validator \"{}\" of category \"{}\" is registered twice for class "
                        "{:#x}",
                        validator->GetName(), validator->GetCategory(), validator->GetClassId().GetValue()));
    }
    of_class.push_back(validator);
    validators_.push_back(validator);
}

void ValidatorRegistry::ValidateObject(CScriptable& object, ValidationContext& context) const {
    const CMetaClass* meta_class = object.GetMetaClass();
    if (meta_class) ValidateAs(*meta_class, object, context);
}

void ValidatorRegistry::ValidateAs(const CMetaClass& meta_class, CScriptable& object,
                                   ValidationContext& context) const {
    if (meta_class.GetBase()) ValidateAs(*meta_class.GetBase(), object, context);
    const auto found = by_class_.find(meta_class.GetClassId());
    if (found == by_class_.end()) return;
    for (const Validator* validator : found->second) {
        if (!validator->IsEnabled()) continue;
        const ReportedObject current(context, object);
        try {
            validator->Validate(context);
        } catch (const common::COrvException& error) {
            context.AddError(validator->GetName(), error.what());
        } catch (...) {
            context.AddError(validator->GetName(),
                             fmt::format("validator \"{}\" failed: {}", validator->GetName(),
                                         DescribeException(std::current_exception())));
        }
    }
}

void ValidatorRegistry::ValidateTree(CScriptable& root, ValidationContext& context) const {
    std::vector<common::ClassId> classes;
    for (const auto& [id, validators] : by_class_) classes.push_back(id);
    ValidateBelow(root, Holders(classes), context);
}

void ValidatorRegistry::ValidateBelow(CScriptable& root, const Holders& holders,
                                      ValidationContext& context) const {
    // Objects marked for deletion are not validated. Validators of the objects above still see them.
    if (root.IsDeleted()) return;
    ValidateObject(root, context);
    if (!holders.Contains(root.GetMetaClass())) return;
    ScriptableVec children;
    root.GetObjects(children, CScriptable::CLASS_ID(), common::kParentChild);
    for (CScriptable* child : children) ValidateBelow(*child, holders, context);
}

StaticRegisterValidator::StaticRegisterValidator(const Validator* validator) {
    CStaticRegistration::Run([validator] { ValidatorRegistry::Instance().RegisterValidator(validator); });
}

}  // namespace orv::framework
