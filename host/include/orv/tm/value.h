// Base of all typed values, and the visitor that walks them.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <type_traits>

#include "orv/tm/exceptions.h"
#include "orv/tm/kinds.h"

namespace orv::tm {

class Tm_struct;
class Tm_array;

/// A simple value with its kind. 16 bytes; what struct rows are made of.
struct Tm_scalar {
    TMV kind = TMV_BOOL;
    union {
        std::int64_t i;   ///< int8, int16, int32, int64
        std::uint64_t u;  ///< uint8, uint16, uint32, uint64
        double d;         ///< double
        bool b;           ///< bool
    };

    Tm_scalar() : u(0) {}
    template <class T>
    static Tm_scalar of(T value);

    /// The value as T. Throws Tm_type_mismatch_exception (kind held, kind asked for).
    template <class T>
    T as() const;
};

template <class T>
Tm_scalar Tm_scalar::of(T value) {
    static_assert(is_simple(kind_of<T>), "a scalar holds values of the simple kinds only");
    Tm_scalar scalar;
    scalar.kind = kind_of<T>;
    if constexpr (std::is_same_v<T, bool>) {
        scalar.b = value;
    } else if constexpr (std::is_floating_point_v<T>) {
        scalar.d = value;
    } else if constexpr (std::is_signed_v<T>) {
        scalar.i = value;
    } else {
        scalar.u = value;
    }
    return scalar;
}

template <class T>
T Tm_scalar::as() const {
    static_assert(is_simple(kind_of<T>), "a scalar holds values of the simple kinds only");
    if (kind != kind_of<T>) throw Tm_type_mismatch_exception(kind, kind_of<T>);
    if constexpr (std::is_same_v<T, bool>) {
        return b;
    } else if constexpr (std::is_floating_point_v<T>) {
        return d;
    } else if constexpr (std::is_signed_v<T>) {
        return static_cast<T>(i);
    } else {
        return static_cast<T>(u);
    }
}

/// Receives a value from Tm_value::accept. Every operation does nothing unless overridden.
class Tm_visitor {
  public:
    virtual ~Tm_visitor();
    virtual void visit_scalar(const Tm_scalar&) {}
    virtual void visit_string(std::string_view) {}
    virtual void visit_struct(const Tm_struct&) {}
    virtual void visit_array(const Tm_array&) {}
};

class Tm_value {
  public:
    virtual ~Tm_value();
    virtual TMV kind() const = 0;
    /// A copy that shares nothing with this value, backed memory included.
    virtual std::unique_ptr<Tm_value> clone() const = 0;
    virtual void accept(Tm_visitor&) const = 0;
};

/// A simple value as an object of its own (an element of a general array).
class Tm_simple : public Tm_value {
  public:
    explicit Tm_simple(Tm_scalar value) : value_(value) {}
    const Tm_scalar& value() const { return value_; }
    TMV kind() const override { return value_.kind; }
    std::unique_ptr<Tm_value> clone() const override;
    void accept(Tm_visitor&) const override;

  private:
    Tm_scalar value_;
};

class Tm_string : public Tm_value {
  public:
    explicit Tm_string(std::string text) : text_(std::move(text)) {}
    const std::string& text() const { return text_; }
    TMV kind() const override { return TMV_STRING; }
    std::unique_ptr<Tm_value> clone() const override;
    void accept(Tm_visitor&) const override;

  private:
    std::string text_;
};

}  // namespace orv::tm
