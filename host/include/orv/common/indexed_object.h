// Objects numbered within a group.
#pragma once

#include <cstdint>
#include <limits>
#include <map>
#include <set>
#include <tuple>
#include <vector>

namespace orv::common {

/// Gives each object of a class an index that is unique among the objects with the same key (the blocks of
/// one port, say), and finds objects by key and index.
///
/// A class derives from IndexedObject<Class, Index, Key> and has IsDeleted(), GetHandle() and `Key
/// GetIndexHandle() const`, whose 0 means that the object belongs to no group at present. The registry is one
/// per class and process; it is used under the host's task lock.
template <class Object, class Index, class Key>
class IndexedObject {
  public:
    /// The index of an object that has none.
    static constexpr Index kNoIndex = std::numeric_limits<Index>::max();

    Index GetBlockIndex() const { return index_; }
    bool HasBlockIndex() const { return index_ != kNoIndex; }
    /// The key under which the object is registered, 0 if it is not.
    Key GetBlockKey() const { return key_; }

    /// Adds the object under its present key, with the smallest free index. Does nothing if the object is
    /// already registered under that key. An object without key, or in a full group, has no index.
    void AddObjectToMap();
    /// Takes the object out of its group.
    void RemoveObjectFromMap();

    /// Keys that have objects, ascending.
    static void FindObjectHandles(std::vector<Key>& keys);
    /// Objects of a key: by index, those without index last; for equal indexes a deleted object after a live
    /// one; then by handle.
    static void FindObjects(Key key, std::vector<Object*>& objects);
    static Object* GetObjectByIndex(Key key, Index index);
    /// Forgets a key and its objects, which keep their index.
    static void InvalidateHandle(Key key) { Groups().erase(key); }

  protected:
    IndexedObject() = default;
    ~IndexedObject() { Erase(); }

    /// Takes the object out of its group; it keeps its key and index.
    void LeaveGroup() { Erase(); }

  private:
    struct Order {
        using is_transparent = void;  ///< an index may be sought, too
        bool operator()(const Object* a, const Object* b) const { return Rank(a) < Rank(b); }
        bool operator()(const Object* a, Index index) const { return a->index_ < index; }
        bool operator()(Index index, const Object* a) const { return index < a->index_; }
        static auto Rank(const Object* object) {
            const IndexedObject& indexed = *object;
            return std::tuple(indexed.index_, indexed.group_deleted_, indexed.handle_);
        }
    };
    struct Group {
        std::set<Object*, Order> objects;
        Index all_taken_below = 0;  ///< where the search for a free index begins
    };
    static std::map<Key, Group>& Groups();

    void Erase();
    static Index TakeFreeIndex(Group& group);

    Key key_ = 0;
    Index index_ = kNoIndex;
    // Copies of the sort keys at registration, so that the order of the set does not change.
    bool group_deleted_ = false;
    std::uint32_t handle_ = 0;
};

template <class Object, class Index, class Key>
std::map<Key, typename IndexedObject<Object, Index, Key>::Group>&
IndexedObject<Object, Index, Key>::Groups() {
    // Never destroyed: objects may outlive other statics.
    static auto* groups = new std::map<Key, Group>;
    return *groups;
}

template <class Object, class Index, class Key>
Index IndexedObject<Object, Index, Key>::TakeFreeIndex(Group& group) {
    Index free = group.all_taken_below;
    for (auto object = group.objects.lower_bound(free); object != group.objects.end(); ++object) {
        if (free == kNoIndex || (*object)->index_ > free) break;
        if ((*object)->index_ == free) ++free;
    }
    group.all_taken_below = free == kNoIndex ? free : static_cast<Index>(free + 1);
    return free;
}

template <class Object, class Index, class Key>
void IndexedObject<Object, Index, Key>::AddObjectToMap() {
    auto* self = static_cast<Object*>(this);
    const Key key = self->GetIndexHandle();
    if (key_ == key && HasBlockIndex() && GetObjectByIndex(key, index_) == self) return;
    // Removed also from a group that it stays in: its sort keys change.
    if (key_ != 0) RemoveObjectFromMap();
    if (key == 0) return;
    Group& group = Groups()[key];
    key_ = key;
    index_ = TakeFreeIndex(group);  // kNoIndex when all are taken
    group_deleted_ = self->IsDeleted();
    handle_ = self->GetHandle();
    group.objects.insert(self);
}

template <class Object, class Index, class Key>
void IndexedObject<Object, Index, Key>::Erase() {
    auto* self = static_cast<Object*>(this);
    const auto found = Groups().find(key_);
    if (found == Groups().end()) return;
    Group& group = found->second;
    if (group.objects.erase(self) != 0 && index_ < group.all_taken_below) group.all_taken_below = index_;
    if (group.objects.empty()) Groups().erase(found);
}

template <class Object, class Index, class Key>
void IndexedObject<Object, Index, Key>::RemoveObjectFromMap() {
    Erase();
    index_ = kNoIndex;
    key_ = 0;
}

template <class Object, class Index, class Key>
void IndexedObject<Object, Index, Key>::FindObjectHandles(std::vector<Key>& keys) {
    for (const auto& [key, group] : Groups()) keys.push_back(key);
}

template <class Object, class Index, class Key>
void IndexedObject<Object, Index, Key>::FindObjects(Key key, std::vector<Object*>& objects) {
    const auto found = Groups().find(key);
    if (found == Groups().end()) return;
    // One walk over the set: a range insertion would take a second one to count.
    objects.reserve(objects.size() + found->second.objects.size());
    for (Object* object : found->second.objects) objects.push_back(object);
}

template <class Object, class Index, class Key>
Object* IndexedObject<Object, Index, Key>::GetObjectByIndex(Key key, Index index) {
    const auto found = Groups().find(key);
    if (found == Groups().end()) return nullptr;
    const auto object = found->second.objects.lower_bound(index);
    const bool is_there = object != found->second.objects.end() && (*object)->index_ == index;
    return is_there ? *object : nullptr;
}

}  // namespace orv::common
