// Base of every configuration, command and result object.
#pragma once

#include <boost/intrusive/list_hook.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "orv/common/delegate.h"
#include "orv/common/exceptions.h"
#include "orv/common/ids.h"
#include "orv/framework/meta_class.h"
#include "orv/framework/property_value.h"

namespace orv::framework {

class CScriptable;
using ScriptableVec = std::vector<CScriptable*>;

/// (this object, the other object, relation, true when added)
using RelationChangeDelegate = common::Delegate<void(CScriptable&, CScriptable&, RelationType, bool)>;
using PropertyChangeDelegate = common::Delegate<void(CScriptable*, PropId)>;

/// One property of one object, as handed to OnPropertyModified.
struct Property {
    CScriptable& object;
    const CPropertyMeta& meta;

    PropId GetId() const { return meta.id; }
};

/// An object of the tree: properties in slots, relations in both directions, a handle, a state.
///
/// Objects are made by CScriptableCreator and owned by their parent. All access happens under the host's task
/// lock.
///
/// Property access with an id that the class does not have, or as another type than the property's, throws
/// COrvLogicError that names object and property; a value out of range throws COrvRunTimeError.
class CScriptable {
  public:
    /// The state of an object relative to the last apply.
    enum State : std::uint8_t {
        STATE_NEW = 0,             ///< created since
        STATE_MODIFIED = 1,        ///< changed since
        STATE_PENDING_DELETE = 2,  ///< marked for deletion; destroyed by the next apply that succeeds
        STATE_UNCHANGED = 3,       ///< as applied
        STATE_OBSOLETE = 4,        ///< its deletion has been applied; about to be destroyed
    };

    CScriptable();
    CScriptable(const CScriptable&) = delete;
    CScriptable& operator=(const CScriptable&) = delete;

    // --- Identity
    ClassId GetClassId() const;
    bool IsTypeOf(ClassId id) const;
    /// Names compare without regard to case, with or without the leading C.
    bool IsTypeOf(const char* className) const;
    const std::string& GetName() const;
    std::uint32_t GetHandle() const { return handle_; }
    CScriptable* GetParent() const { return parent_; }
    /// "<class name> "<object name>"", for messages.
    std::string Describe() const;

    // --- Properties by id
    bool GetBool(PropId id) const { return GetT<bool>(id); }
    std::uint8_t GetU8(PropId id) const { return GetT<std::uint8_t>(id); }
    std::uint16_t GetU16(PropId id) const { return GetT<std::uint16_t>(id); }
    std::int16_t GetS16(PropId id) const { return GetT<std::int16_t>(id); }
    std::uint32_t GetU32(PropId id) const { return GetT<std::uint32_t>(id); }
    std::uint64_t GetU64(PropId id) const { return GetT<std::uint64_t>(id); }
    double GetDouble(PropId id) const { return GetT<double>(id); }
    const std::string& GetString(PropId id) const { return GetT<std::string>(id); }
    CIpAddress GetIp(PropId id) const { return GetT<CIpAddress>(id); }
    const CIpv6Address& GetIpv6(PropId id) const { return GetT<CIpv6Address>(id); }
    const OutputFilePath& GetOutputFilePath(PropId id) const { return GetT<OutputFilePath>(id); }
    /// False while a nullable property holds no value. Reading such a property otherwise throws
    /// COrvLogicError.
    bool GetNullableHasValue(PropId id) const;

    /// Any type of a slot: the simple types, std::string, the address types, std::vector of those.
    template <class T>
    PropertyRef<T> GetT(PropId id) const;

    /// Setting a value that differs makes the object dirty and calls OnPropertyModified and the delegates;
    /// setting the same value does nothing.
    void Set(PropId id, bool value) { SetValue(id, value); }
    void Set(PropId id, std::uint8_t value) { SetValue(id, value); }
    void Set(PropId id, std::uint16_t value) { SetValue(id, value); }
    void Set(PropId id, std::int16_t value) { SetValue(id, value); }
    void Set(PropId id, std::uint32_t value) { SetValue(id, value); }
    void Set(PropId id, std::int32_t value) { SetValue(id, value); }
    void Set(PropId id, std::uint64_t value) { SetValue(id, value); }
    void Set(PropId id, std::int64_t value) { SetValue(id, value); }
    void Set(PropId id, double value) { SetValue(id, value); }
    void Set(PropId id, const CIpAddress& value) { SetValue(id, value); }
    void Set(PropId id, const CIpv6Address& value) { SetValue(id, Boxed<CIpv6Address>(value)); }
    void Set(PropId id, const CMacAddress& value) { SetValue(id, value); }
    void Set(PropId id, const OutputFilePath& value) { SetValue(id, Boxed<OutputFilePath>(value)); }
    /// Without this overload a string literal would be taken as a bool.
    void Set(PropId id, const char* text) { Set(id, std::string(text)); }
    template <class T>
    void SetT(PropId id, T value) {
        SetValue(id, typename SlotOf<T>::type(std::move(value)));
    }

    // --- Collections
    template <class T>
    const std::vector<T>& GetCollection(PropId id) const {
        return GetT<std::vector<T>>(id);
    }
    template <class T>
    void SetCollection(PropId id, std::vector<T> values) {
        SetT<std::vector<T>>(id, std::move(values));
    }
    template <class T>
    void AddToCollection(PropId id, const T& value) {
        std::vector<T> values = GetCollection<T>(id);
        values.push_back(value);
        SetT<std::vector<T>>(id, std::move(values));
    }

    // --- State
    State GetObjectState() const { return state_; }
    void SetObjectState(State state);
    /// The object's own and every ancestor's Active property: what the common property Active reads.
    bool GetActive() const;
    bool IsDeleted() const { return state_ == STATE_PENDING_DELETE || state_ == STATE_OBSOLETE; }
    /// Marks the object, and with `children` everything below it, for deletion by the next apply. With
    /// `relations` its relations other than to its parent end at once, and the related objects are notified.
    /// A deleted object stays a child of its parent, after the live ones, until it is destroyed. False when
    /// CanDelete or OnMarkDelete refuse.
    bool MarkDelete(bool children, bool relations);
    /// The object's values, one per slot of its class.
    const PropertyValue* GetDataStore() const { return values_.data(); }

    /// Appends the objects of a class that were related and no longer are since the last apply; for children
    /// also those whose deletion is pending.
    void GetRemovedObjects(ScriptableVec& removed, ClassId id, RelationType type) const;

    void RegisterRelationChangeDelegate(const RelationChangeDelegate& delegate);
    void UnregisterRelationChangeDelegate(const RelationChangeDelegate& delegate);
    void UnregisterPropertyChangeDelegate(PropId id, const PropertyChangeDelegate& delegate);
    /// Somebody is told when a relation of the object begins or ends, the one to a new child included.
    bool HasRelationObservers() const;

    /// A copy of the object, its children included, under `parent` (null: the same parent). Relations are
    /// copied for which CloneRelationType says so; a relation to an object that is cloned along leads to its
    /// clone.
    CScriptable* Clone(CScriptable* parent = nullptr);

    // --- Virtual operations, in the order of their slots
    /// Gives a new object its class and the class's default values. Called once, by the creator.
    virtual void SetMetaClass(const CMetaClass* metaClass);
    /// Destroys the object now, its children first.
    virtual void Delete();
    /// Renames the object when its name is still the automatic one.
    virtual void UpdateObjectName();
    virtual void RegisterPropertyChangeDelegate(PropId id, const PropertyChangeDelegate& delegate);

    virtual bool ContainsObject(const CScriptable& object, RelationType type) const;
    /// Relates this object to another. On failure returns false and, when asked, says why: no such relation
    /// between the classes, too many targets, related already, refused by either object.
    virtual bool AddObject(CScriptable& object, RelationType type, std::string* errorText = nullptr);
    /// Ends a relation. `remember`: the object is listed by GetRemovedObjects until the next apply. `notify`:
    /// both objects and their delegates are notified.
    virtual bool RemoveObject(CScriptable& object, RelationType type, bool remember = true,
                              std::string* errorText = nullptr, bool notify = true);
    /// The first related object of a class that is not deleted, or null.
    virtual CScriptable* GetObject(ClassId id, RelationType type) const;
    /// Appends all related objects of a class in the order in which they were related, deleted ones last.
    virtual void GetObjects(ScriptableVec& objects, ClassId id, RelationType type) const;
    virtual CScriptable* GetObject(const std::string& className, RelationType type) const;
    virtual void GetObjects(ScriptableVec& objects, const std::string& className, RelationType type) const;
    virtual ScriptableVec GetObjects(const std::string& className, RelationType type) const;
    /// Makes `objects` the only related ones. `notify` as in RemoveObject. Throws COrvRunTimeError on
    /// failure.
    virtual void SetObjects(const ScriptableVec& objects, RelationType type, bool notify = true);

    /// Sets a property from text. Throws COrvRunTimeError that names object and property.
    virtual void Set(PropId id, const std::string& text);
    virtual void Get(PropId id, std::string& text) const;
    /// By property name, without regard to case; an unknown name throws COrvRunTimeError.
    virtual void Set(const char* name, const std::string& text);
    virtual void Get(const char* name, std::string& text) const;
    virtual std::string Get(const char* name) const;

    /// True when the object, or with `children` one below it, changed since the last apply.
    virtual bool IsObjectDirty(bool children) const;
    virtual bool CanSave() const;
    virtual bool CanDelete() const;
    virtual void EventCallback(const std::string& event, CScriptable* source);
    /// Called once when the object has its class, name and parent. False makes the creation fail.
    virtual bool OnInit();
    /// Called when the object is marked for deletion, before its relations end. False keeps it.
    virtual bool OnMarkDelete();
    virtual void ResetSingleton();
    virtual void ResetDefaults();
    /// Called after OnInit for each default child of the class. False leaves the child out.
    virtual bool OnCreateDefaultChild(const CMetaClass& childClass);
    /// Called when the file that the object came from has been read to its end.
    virtual void OnLoadCompleted();
    virtual void OnPropertyModified(Property& property);
    /// Makes the object active or not, and brings the objects below in line.
    virtual void DoPropagateActiveState(bool active, bool children);
    /// The same for an object reached over a relation.
    virtual void DoPropagateActiveState(CScriptable& object, RelationType type, bool active);
    /// Asked before a parent's active state reaches the object; false keeps the object as it is.
    virtual bool OnPropagatingActive(bool active);
    /// Asked before a relation is added or removed; false, with a reason, refuses.
    virtual bool OnPreValidateRelationChange(RelationType type, CScriptable& object, bool added,
                                             std::string& reason);
    virtual void OnRelationModified(RelationType type, CScriptable& object, bool added);
    /// The automatic name of a new object.
    virtual std::string OnUpdateAutoObjectName() const;
    virtual std::uint32_t GetDataStoreLayerCount() const;
    virtual bool DoClone(CScriptable& original);
    virtual void DoCloneChildren(CScriptable& original);
    virtual void DoCloneCopyProperties(const CScriptable& original);
    virtual void DoCloneCopyOtherRelations(const CScriptable& original);
    virtual bool AllowChildClone(const CScriptable& child) const;
    /// True when a relation of `type` to `other` is to be copied to a clone of this object.
    virtual bool CloneRelationType(const CScriptable& other, const RelationType& type) const;
    virtual void DoCloneCopyInternals(const CScriptable& original);
    virtual ~CScriptable();
    virtual const CMetaClass* GetMetaClass() const { return meta_class_; }
    virtual bool IsSingleton() const;
    /// An operation that the class offers by name, with a text argument; false when it offers none of that
    /// name.
    virtual bool PerformOperation(const std::string& operation, const std::string& argument,
                                  std::string& result);

    static ClassId CLASS_ID();

  private:
    friend class CScriptableCreator;
    friend class CCloner;
    friend class CApplySettler;
    friend class CChangeLog;
    struct RelationList {
        RelationType type;
        std::vector<CScriptable*> objects;
    };
    struct Extras;  ///< delegates and removed objects, which few objects have

    const CPropertyMeta& FindPropertyOrThrow(PropId id) const;
    [[noreturn]] void ThrowWrongType(const CPropertyMeta& meta, const char* asked_for) const;
    void SetValue(PropId id, PropertyValue value);
    void StoreValue(const CPropertyMeta& meta, PropertyValue value);
    void NotifyPropertyModified(const CPropertyMeta& meta);

    const RelationList* FindRelations(RelationType type) const;
    void Link(CScriptable& object, RelationType type);
    bool Unlink(CScriptable& object, RelationType type);
    void NotifyRelationModified(RelationType type, CScriptable& object, bool added);
    void RemoveAllRelations(bool remember, bool notify);
    void ForgetRemoved();
    Extras& MakeExtras();
    void UpdateActive(bool parent_active);
    void Touch();
    void MarkModified();

    const CMetaClass* meta_class_ = nullptr;
    std::vector<PropertyValue> values_;  ///< as long as the class's declaration; never grows
    CScriptable* parent_ = nullptr;
    std::vector<RelationList> relations_;
    std::unique_ptr<Extras> extras_;
    std::uint64_t changed_at_ = 0;   ///< moment of the change log
    std::uint64_t modified_at_ = 0;  ///< the same, of the last change that an apply has to settle
    boost::intrusive::list_member_hook<boost::intrusive::link_mode<boost::intrusive::auto_unlink>>
        change_hook_;
    std::uint32_t handle_ = 0;
    State state_ = STATE_NEW;
    bool auto_named_ = false;
};

template <class T>
PropertyRef<T> CScriptable::GetT(PropId id) const {
    using Slot = typename SlotOf<T>::type;
    const CPropertyMeta* meta = meta_class_->FindProperty(id);
    if (!meta) FindPropertyOrThrow(id);
    const Slot* value = std::get_if<Slot>(&values_[meta->slot]);
    if (!value) ThrowWrongType(*meta, typeid(T).name());
    if constexpr (std::is_same_v<Slot, T>) {
        return *value;
    } else {
        return value->Get();
    }
}

/// Destroys an object that its maker never put into the tree.
void ReleaseScriptable(CScriptable* object);

}  // namespace orv::framework
