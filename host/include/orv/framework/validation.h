// Validation: contexts that collect errors and warnings, and validators that plug-ins register.
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "orv/common/delegate.h"
#include "orv/common/ids.h"

namespace orv::framework {

class CMetaClass;
class CScriptable;
class Holders;

/// One report. The source is the position of the rule in the code: source file and line number without
/// separator.
struct ValidationReport {
    std::uint32_t object_handle = 0;
    std::string object;  ///< the object's description when it was reported
    std::string source;
    std::string message;
};

/// Gathers errors, which keep a command or an apply from running, and warnings, which do not.
class CBaseValidationContext {
  public:
    virtual ~CBaseValidationContext();

    virtual void AddError(const std::string& source, const std::string& message);
    virtual void AddWarning(const std::string& source, const std::string& message);

    const std::vector<ValidationReport>& GetErrors() const { return errors_; }
    const std::vector<ValidationReport>& GetWarnings() const { return warnings_; }

  protected:
    virtual CScriptable* GetReportedObject() const { return nullptr; }

  private:
    std::vector<ValidationReport> errors_;
    std::vector<ValidationReport> warnings_;
};

class ValidationContext : public CBaseValidationContext {
  public:
    /// The object being validated. Validators may set another while they report on it (ReportedObject).
    CScriptable* GetCurrentObject() const { return current_; }
    void SetCurrentObject(CScriptable* object) { current_ = object; }

  protected:
    CScriptable* GetReportedObject() const override { return current_; }

  private:
    CScriptable* current_ = nullptr;
};

/// Sets the object that reports are about, and sets the one before it back at its end.
class ReportedObject {
  public:
    ReportedObject(ValidationContext& context, CScriptable& object)
        : context_(context), outer_(context.GetCurrentObject()) {
        context.SetCurrentObject(&object);
    }
    ~ReportedObject() { context_.SetCurrentObject(outer_); }
    ReportedObject(const ReportedObject&) = delete;
    ReportedObject& operator=(const ReportedObject&) = delete;

  private:
    ValidationContext& context_;
    CScriptable* outer_;
};

/// A validation function for all objects of a class, those of derived classes included.
class Validator {
  public:
    using Function = common::Delegate<void(ValidationContext&)>;

    Validator(std::string category, std::string name, common::ClassId id, Function function,
              bool enabled = true);

    const std::string& GetCategory() const { return category_; }
    const std::string& GetName() const { return name_; }
    common::ClassId GetClassId() const { return class_id_; }
    bool IsEnabled() const { return enabled_; }
    void Validate(ValidationContext& context) const { function_(context); }

  private:
    std::string category_;
    std::string name_;
    common::ClassId class_id_;
    Function function_;
    bool enabled_;
};

class ValidatorRegistry {
  public:
    static ValidatorRegistry& Instance();

    /// The validator is the caller's and must live until the process ends. A second one of the same category,
    /// name and class throws COrvLogicError that names it.
    void RegisterValidator(const Validator* validator);
    const std::vector<const Validator*>& GetValidators() const { return validators_; }

    /// Runs every validator of the object's class and base classes (base classes first, then in order of
    /// registration). An exception out of a validator becomes an error of the context, and the next validator
    /// runs.
    void ValidateObject(CScriptable& object, ValidationContext& context) const;
    /// The same for an object and everything below it, parents before children. Objects whose deletion is
    /// pending, and what is below them, are left out; validators of the objects above see them with
    /// GetObjects.
    void ValidateTree(CScriptable& root, ValidationContext& context) const;

  private:
    void ValidateBelow(CScriptable& root, const Holders& holders, ValidationContext& context) const;
    void ValidateAs(const CMetaClass& meta_class, CScriptable& object, ValidationContext& context) const;

    std::vector<const Validator*> validators_;
    std::unordered_map<common::ClassId, std::vector<const Validator*>> by_class_;
};

/// Registers a validator while the library loads.
class StaticRegisterValidator {
  public:
    explicit StaticRegisterValidator(const Validator* validator);
};

}  // namespace orv::framework
