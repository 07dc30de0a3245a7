#include "orv/framework/scriptable_creator.h"

#include <fmt/format.h>

#include <memory>

#include "model/containment.h"
#include "orv/framework/handle_registry.h"
#include "orv/framework/meta_class_manager.h"
#include "orv/framework/scriptable.h"
#include "orv/framework/singletons.h"
#include "orv/ids/framework_ids.h"

namespace orv::framework {

namespace {

/// Destroys an object whose creation did not succeed. One that OnInit has made whole is marked for deletion
/// first, so that it takes back what it registered; one that was never whole is not asked.
struct Discard {
    bool was_initialised = false;

    void operator()(CScriptable* object) const {
        try {
            if (was_initialised) object->MarkDelete(true, true);
        } catch (const std::exception&) {
            // It is destroyed all the same; the caller gets the reason why its creation failed.
        }
        object->SetObjectState(CScriptable::STATE_OBSOLETE);
        object->Delete();
    }
};

bool HasOwnFactory(const CMetaClass& meta_class) {
    const CMetaClass* base = meta_class.GetBase();
    return meta_class.GetFactory().make && (!base || base->GetFactory().make != meta_class.GetFactory().make);
}

}  // namespace

CScriptable* CScriptableCreator::Create(common::ClassId id, CScriptable* parent, bool defaultChildren,
                                        bool init, std::uint32_t handle) {
    const CMetaClass* meta_class = CMetaClassManager::Instance().GetClass(id);
    if (!meta_class) {
        error_text_ = fmt::format("no active data model has the class {:#x}", id.GetValue());
        return nullptr;
    }
    return Create(meta_class, parent, defaultChildren, init, handle);
}

CScriptable* CScriptableCreator::Create(const std::string& className, CScriptable* parent,
                                        bool defaultChildren, bool init, std::uint32_t handle) {
    const CMetaClass* meta_class = CMetaClassManager::Instance().GetClass(className);
    if (!meta_class) {
        error_text_ = "no active data model has the class \"" + className + "\"";
        return nullptr;
    }
    return Create(meta_class, parent, defaultChildren, init, handle);
}

CScriptable* CScriptableCreator::Create(const CMetaClass* metaClass, CScriptable* parent,
                                        bool defaultChildren, bool init, std::uint32_t handle) {
    error_text_.clear();
    const CMetaClass::Definition& definition = metaClass->GetDefinition();
    const auto refuse = [&](const std::string& reason) {
        error_text_ = "cannot create " + definition.name + ": " + reason;
        return nullptr;
    };
    const CMetaClass::Factory factory = metaClass->GetFactory();
    if (definition.is_abstract) {
        // A class's own factory may give its own reason.
        if (HasOwnFactory(*metaClass)) factory.destroy(factory.make());
        throw common::COrvLogicError("Trying to create an abstract class : C" + definition.name);
    }
    if (!factory.make) return refuse("the class has no factory; is its plug-in loaded?");
    if (definition.is_singleton && FindSingleton(definition.id)) return refuse("there is one already");
    if (parent && !CanBeChildOf(*metaClass, *parent->GetMetaClass())) {
        return refuse("it cannot be a child of " + parent->Describe());
    }

    if (parent && parent->IsDeleted()) return refuse(parent->Describe() + " is being deleted");

    std::unique_ptr<CScriptable, Discard> object(factory.make());
    object->SetMetaClass(metaClass);
    object->handle_ = CHandleRegistry::Instance().Register(*object, handle);
    if (object->handle_ == 0) return refuse("the handle " + std::to_string(handle) + " is in use");
    object->values_[metaClass->FindProperty(ids::Scriptable::Handle)->slot] = object->handle_;
    if (definition.is_singleton) RememberSingleton(*object);
    if (parent) {
        object->parent_ = parent;
        parent->Link(*object, common::kParentChild);
        object->UpdateActive(parent->GetActive());
    }
    object->values_[metaClass->FindProperty(ids::Scriptable::Name)->slot] =
        Boxed<std::string>(object->OnUpdateAutoObjectName());
    object->auto_named_ = true;

    if (init && !object->OnInit()) return refuse("its initialisation refused");
    object.get_deleter().was_initialised = init;
    if (defaultChildren) {
        for (const CMetaClass* child_class : CMetaClassManager::Instance().GetDefaultChildren(*metaClass)) {
            if (object->OnCreateDefaultChild(*child_class) &&
                !Create(child_class, object.get(), true, init)) {
                return nullptr;  // the text says which child and why
            }
        }
    }
    if (parent) {
        parent->NotifyRelationModified(common::kParentChild, *object, true);
        object->NotifyRelationModified(common::kChildParent, *parent, true);
    }
    return object.release();
}

void CScriptableCreator::ThrowNotMade(common::ClassId id) const {
    throw common::COrvRunTimeError(
        error_text_.empty() ? fmt::format("class {:#x} has another C++ class", id.GetValue()) : error_text_);
}

std::string CScriptable::OnUpdateAutoObjectName() const {
    return meta_class_->GetName() + " " + std::to_string(handle_);
}

}  // namespace orv::framework
