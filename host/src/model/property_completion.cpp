#include "property_completion.h"

#include <cmath>
#include <limits>

#include "orv/common/exceptions.h"
#include "property_type.h"

namespace orv::framework {

namespace {

[[noreturn]] void Fail(const PropertyDefinition& definition, const std::string& reason) {
    FailAt(definition.where, "property " + definition.meta.name + ": " + reason);
}

bool IsInteger(PropertyType type) {
    return type != PropertyType::Handle &&
           WithType(type, []<class T>(std::type_identity<T>) { return kIsInteger<T>; });
}

/// A whole number that the integer type can hold.
bool Fits(PropertyType type, double number) {
    return WithType(type, [number]<class T>(std::type_identity<T>) {
        if constexpr (kIsInteger<T>) {
            // The greatest 64-bit values are no doubles; the power of two behind the greatest value always
            // is.
            using Limits = std::numeric_limits<T>;
            return number == std::floor(number) && number >= static_cast<double>(Limits::min()) &&
                   number < std::ldexp(1.0, Limits::digits);
        }
        return true;
    });
}

void CheckEnumeration(const PropertyDefinition& definition, const CEnumMeta& enumeration) {
    const std::string type = GetTypeName(definition.meta.type);
    if (!IsInteger(definition.meta.type))
        Fail(definition, "an enumeration needs an integer type, not " + type);
    for (const auto& [name, value] : enumeration.values) {
        if (!Fits(definition.meta.type, static_cast<double>(value))) {
            Fail(definition,
                 "the value of " + enumeration.name + " " + name + " does not fit into the type " + type);
        }
    }
}

void CheckRange(const PropertyDefinition& definition) {
    const CPropertyMeta& meta = definition.meta;
    const std::string type = GetTypeName(meta.type);
    const bool is_integer = IsInteger(meta.type);
    for (const auto& bound : {meta.minimum, meta.maximum}) {
        if (!bound) continue;
        if (!is_integer && meta.type != PropertyType::Double) {
            Fail(definition, "a range needs a numeric type, not " + type);
        }
        if (is_integer && !Fits(meta.type, *bound))
            Fail(definition, "min and max must be values of the type " + type);
    }
    if (meta.minimum && meta.maximum && *meta.minimum > *meta.maximum) {
        Fail(definition, "min is greater than max");
    }
}

void CheckFlags(const PropertyDefinition& definition) {
    const CPropertyMeta& meta = definition.meta;
    const bool can_be_listed =
        WithType(meta.type, []<class T>(std::type_identity<T>) { return kCanBeListed<T>; });
    if (meta.collection && !can_be_listed) {
        Fail(definition, std::string("there are no collections of type ") + GetTypeName(meta.type));
    }
    const bool may_be_empty =
        meta.collection || meta.type == PropertyType::String || meta.type == PropertyType::OutputFilePath;
    if (meta.nullable && may_be_empty) {
        Fail(definition, "collections and texts cannot be nullable: an empty one and none would look alike");
    }
}

PropertyValue MakeDefault(const CPropertyMeta& meta) {
    if (meta.nullable) return std::monostate{};
    return WithType(meta.type, [&meta]<class T>(std::type_identity<T>) -> PropertyValue {
        if constexpr (kCanBeListed<T>) {
            if (meta.collection) return Collection<T>();
        }
        T value{};
        if constexpr (kIsInteger<T> || std::is_same_v<T, double>) {
            if (meta.minimum && *meta.minimum > 0) value = static_cast<T>(*meta.minimum);
            if (meta.maximum && *meta.maximum < 0) value = static_cast<T>(*meta.maximum);
            if (meta.enumeration && !meta.enumeration->FindName(static_cast<std::int64_t>(value))) {
                value = static_cast<T>(meta.enumeration->values.front().second);
            }
        }
        return typename SlotOf<T>::type(value);
    });
}

template <class T>
PropertyValue ParseList(const CPropertyMeta& meta, const std::vector<std::string>& texts) {
    CPropertyMeta element = meta;
    element.collection = false;
    std::vector<T> values;
    for (const std::string& text : texts) {
        const PropertyValue value = element.Parse(text);
        if constexpr (std::is_same_v<typename SlotOf<T>::type, T>) {
            values.push_back(std::get<T>(value));
        } else {
            values.push_back(std::get<typename SlotOf<T>::type>(value).Get());
        }
    }
    return Collection<T>(std::move(values));
}

PropertyValue ReadDefault(const CPropertyMeta& meta, const std::vector<std::string>& texts) {
    if (!meta.collection) return meta.Parse(texts.front());
    return WithType(meta.type, [&]<class T>(std::type_identity<T>) -> PropertyValue {
        if constexpr (kCanBeListed<T>) return ParseList<T>(meta, texts);
        return std::monostate{};
    });
}

}  // namespace

CPropertyMeta CompleteProperty(const PropertyDefinition& definition, const CEnumMeta* enumeration) {
    if (enumeration) CheckEnumeration(definition, *enumeration);
    CheckRange(definition);
    CheckFlags(definition);
    CPropertyMeta meta = definition.meta;
    meta.enumeration = enumeration;
    try {
        meta.default_value =
            definition.default_texts ? ReadDefault(meta, *definition.default_texts) : MakeDefault(meta);
        meta.Check(meta.default_value);
    } catch (const common::COrvRunTimeError& error) {
        FailAt(definition.default_texts ? definition.default_where : definition.where,
               std::string("default of ") + error.what());
    }
    return meta;
}

}  // namespace orv::framework
