// A comparable callable bound to a function or to an object's member function, so that the code that
// registered it can unregister it.
#pragma once

#include <compare>
#include <cstring>
#include <type_traits>

namespace orv::common {

template <class Signature>
class Delegate;

/// Two delegates are equal when they call the same function on the same object. Small, trivially copyable,
/// never allocates. Does not own the object: code that binds a member function unregisters it before the
/// object dies.
template <class Result, class... Args>
class Delegate<Result(Args...)> {
  public:
    Delegate() = default;

    /// A free or static member function: `Delegate<void(int)>::To<&Function>()`.
    template <auto Function>
    static Delegate To() {
        Delegate d;
        d.call_ = [](void*, Args... args) -> Result { return Function(static_cast<Args>(args)...); };
        return d;
    }

    /// A member function of an object: `Delegate<void(int)>::To<&Class::Member>(object)`.
    template <auto Member, class Object>
    static Delegate To(Object* object) {
        Delegate d;
        d.object_ = const_cast<std::remove_const_t<Object>*>(object);
        d.call_ = [](void* bound, Args... args) -> Result {
            return (static_cast<Object*>(bound)->*Member)(static_cast<Args>(args)...);
        };
        return d;
    }

    Result operator()(Args... args) const { return call_(object_, static_cast<Args>(args)...); }
    explicit operator bool() const { return call_ != nullptr; }
    bool operator==(const Delegate&) const = default;

  private:
    using Call = Result (*)(void*, Args...);
    Call call_ = nullptr;
    void* object_ = nullptr;
};

}  // namespace orv::common
