// Reading, writing and checking the values of a property.
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>

#include "orv/common/exceptions.h"
#include "orv/common/text.h"
#include "orv/framework/meta_class.h"
#include "property_type.h"

namespace orv::framework {

using common::EqualIgnoringCase;
using common::HasLeadingZero;

namespace {

[[noreturn]] void Fail(const CPropertyMeta& meta, const std::string& reason) {
    throw common::COrvRunTimeError("property " + meta.name + ": " + reason);
}

/// The shortest text that reads back as the same number, without exponent for numbers of everyday size.
std::string FormatNumber(double number) {
    const double size = std::abs(number);
    const bool plain = size == 0 || (size >= 1e-5 && size < 1e15);
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, number,
                                   plain ? std::chars_format::fixed : std::chars_format::scientific);
    return {text, end.ptr};
}

template <class T>
std::string DescribeRange(const CPropertyMeta& meta) {
    if constexpr (std::is_floating_point_v<T>) {
        if (!meta.minimum && !meta.maximum) return "any number";
        if (!meta.maximum) return "at least " + FormatNumber(*meta.minimum);
        if (!meta.minimum) return "at most " + FormatNumber(*meta.maximum);
        return FormatNumber(*meta.minimum) + " to " + FormatNumber(*meta.maximum);
    } else {
        const auto bound = [](const std::optional<double>& given, T otherwise) {
            // A bound of 2^53 and more may have been rounded, but never beyond the type.
            return given ? FormatNumber(*given) : std::to_string(otherwise);
        };
        return bound(meta.minimum, std::numeric_limits<T>::min()) + " to " +
               bound(meta.maximum, std::numeric_limits<T>::max());
    }
}

std::string DescribeNames(const CEnumMeta& enumeration) {
    std::string names;
    for (const auto& [name, value] : enumeration.values) names += (names.empty() ? "" : ", ") + name;
    return names;
}

/// Reads a whole text as a number in decimal or (whole numbers) 0x hexadecimal.
template <class T>
bool ParseNumber(std::string_view text, T& value) {
    const bool negative = text.starts_with('-');
    std::string_view digits = text.substr(negative ? 1 : 0);
    if (HasLeadingZero(digits)) return false;
    if constexpr (std::is_floating_point_v<T>) {
        const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
        return result.ec == std::errc{} && result.ptr == text.data() + text.size() && std::isfinite(value);
    } else {
        const bool hex = digits.starts_with("0x") || digits.starts_with("0X");
        if (hex) digits.remove_prefix(2);
        std::uint64_t size = 0;
        const auto result =
            std::from_chars(digits.data(), digits.data() + digits.size(), size, hex ? 16 : 10);
        if (result.ec != std::errc{} || result.ptr != digits.data() + digits.size()) return false;
        const auto most = static_cast<std::uint64_t>(std::numeric_limits<T>::max());
        if (!negative) {
            value = static_cast<T>(size);
            return size <= most;
        }
        value = static_cast<T>(0 - size);
        return std::is_signed_v<T> ? size <= most + 1 : size == 0;
    }
}

template <class T>
T ParseOne(const CPropertyMeta& meta, const std::string& text) {
    const auto quoted = "\"" + text + "\"";
    if constexpr (std::is_same_v<T, bool>) {
        if (EqualIgnoringCase(text, "true") || text == "1") return true;
        if (EqualIgnoringCase(text, "false") || text == "0") return false;
        Fail(meta, quoted + " is neither true nor false");
    } else if constexpr (std::is_arithmetic_v<T>) {
        if (meta.enumeration) {
            if (const auto value = meta.enumeration->FindValue(text)) return static_cast<T>(*value);
        }
        T value{};
        if (ParseNumber(text, value)) return value;
        if (meta.enumeration) Fail(meta, quoted + " is none of " + DescribeNames(*meta.enumeration));
        if constexpr (std::is_floating_point_v<T>) {
            Fail(meta, quoted + " is no number; allowed is " + DescribeRange<T>(meta));
        } else {
            Fail(meta, quoted + " is no whole number from " + DescribeRange<T>(meta));
        }
    } else if constexpr (std::is_same_v<T, std::string> || std::is_same_v<T, OutputFilePath>) {
        return T(text);
    } else {
        if (const auto address = T::FromString(text)) return *address;
        Fail(meta, quoted + " is no " + GetTypeName(meta.type) + " address");
    }
}

template <class T>
std::string FormatOne(const CPropertyMeta& meta, const T& value) {
    if constexpr (std::is_same_v<T, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::is_same_v<T, double>) {
        return FormatNumber(value);
    } else if constexpr (std::is_arithmetic_v<T>) {
        if (meta.enumeration) {
            if (const std::string* name = meta.enumeration->FindName(static_cast<std::int64_t>(value)))
                return *name;
        }
        return std::to_string(value);
    } else if constexpr (std::is_same_v<T, std::string>) {
        return value;
    } else {
        return value.ToString();
    }
}

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kBlanksAndQuotes = " \t\r\n\"\\";

std::string Quote(const std::string& text) {
    if (!text.empty() && text.find_first_of(kBlanksAndQuotes) == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') quoted += '\\';
        quoted += c;
    }
    return quoted + "\"";
}

/// Splits at blanks; an element in double quotes may hold blanks, and quotes and backslashes behind a
/// backslash.
std::vector<std::string> Split(const CPropertyMeta& meta, const std::string& text) {
    std::vector<std::string> elements;
    for (std::size_t i = text.find_first_not_of(kBlanks); i < text.size();
         i = text.find_first_not_of(kBlanks, i)) {
        std::string element;
        if (text[i] == '"') {
            for (++i; i < text.size() && text[i] != '"'; ++i) {
                if (text[i] == '\\' && i + 1 < text.size()) ++i;
                element += text[i];
            }
            if (i == text.size()) Fail(meta, "a double quote is not closed in '" + text + "'");
            ++i;
            if (i < text.size() && kBlanks.find(text[i]) == kBlanks.npos) {
                Fail(meta, "a blank is missing behind a closing double quote in '" + text + "'");
            }
        } else {
            const std::size_t end = std::min(text.find_first_of(kBlanks, i), text.size());
            element = text.substr(i, end - i);
            i = end;
        }
        elements.push_back(std::move(element));
    }
    return elements;
}

template <class T>
void CheckOne(const CPropertyMeta& meta, const T& value) {
    if constexpr (std::is_floating_point_v<T>) {
        if (!std::isfinite(value)) Fail(meta, std::to_string(value) + " is no number");
    }
    if constexpr (std::is_arithmetic_v<T> && !std::is_same_v<T, bool>) {
        const bool low = meta.minimum && static_cast<double>(value) < *meta.minimum;
        const bool high = meta.maximum && static_cast<double>(value) > *meta.maximum;
        if (low || high) Fail(meta, FormatOne(meta, value) + " is outside " + DescribeRange<T>(meta));
        if (meta.enumeration && !meta.enumeration->FindName(static_cast<std::int64_t>(value))) {
            Fail(meta, std::to_string(value) + " is none of " + DescribeNames(*meta.enumeration));
        }
    }
}

}  // namespace

std::optional<std::int64_t> CEnumMeta::FindValue(std::string_view value_name) const {
    for (const auto* names : {&values, &aliases}) {
        for (const auto& [known, value] : *names) {
            if (EqualIgnoringCase(known, value_name)) return value;
        }
    }
    return std::nullopt;
}

const std::string* CEnumMeta::FindName(std::int64_t value) const {
    for (const auto& [known, number] : values) {
        if (number == value) return &known;
    }
    return nullptr;
}

const std::string* CPropertyMeta::FindAttribute(const std::string& attribute) const {
    const auto found = attributes.find(attribute);
    return found == attributes.end() ? nullptr : &found->second;
}

PropertyValue CPropertyMeta::Parse(const std::string& text) const {
    if (nullable && text.empty()) return std::monostate{};
    PropertyValue value = WithType(type, [&]<class T>(std::type_identity<T>) -> PropertyValue {
        if (!collection) return typename SlotOf<T>::type(ParseOne<T>(*this, text));
        if constexpr (kCanBeListed<T>) {
            std::vector<T> values;
            for (const std::string& element : Split(*this, text))
                values.push_back(ParseOne<T>(*this, element));
            return Collection<T>(std::move(values));
        }
        return std::monostate{};
    });
    Check(value);
    return value;
}

std::string CPropertyMeta::Format(const PropertyValue& value) const {
    if (std::holds_alternative<std::monostate>(value)) return "";
    return WithType(type, [&]<class T>(std::type_identity<T>) -> std::string {
        if (!collection) {
            const auto& slot = std::get<typename SlotOf<T>::type>(value);
            if constexpr (std::is_same_v<typename SlotOf<T>::type, T>) {
                return FormatOne<T>(*this, slot);
            } else {
                return FormatOne<T>(*this, slot.Get());
            }
        }
        std::string text;
        if constexpr (kCanBeListed<T>) {
            for (const T& element : std::get<Collection<T>>(value).Get()) {
                std::string one = FormatOne<T>(*this, element);
                if constexpr (std::is_same_v<T, std::string>) one = Quote(one);
                text += (text.empty() ? "" : " ") + one;
            }
        }
        return text;
    });
}

void CPropertyMeta::Check(const PropertyValue& value) const {
    if (std::holds_alternative<std::monostate>(value)) {
        if (!nullable) Fail(*this, "it must hold a value");
        return;
    }
    const auto wrong_type = [this] {
        Fail(*this, std::string("the value is not of type ") + GetTypeName(type) +
                        (collection ? " (a collection)" : ""));
    };
    WithType(type, [&]<class T>(std::type_identity<T>) {
        if (!collection) {
            const auto* slot = std::get_if<typename SlotOf<T>::type>(&value);
            if (!slot) wrong_type();
            if constexpr (std::is_arithmetic_v<T>) CheckOne<T>(*this, *slot);
        } else if constexpr (kCanBeListed<T>) {
            const auto* list = std::get_if<Collection<T>>(&value);
            if (!list) wrong_type();
            for (const T& element : list->Get()) CheckOne<T>(*this, element);
        } else {
            wrong_type();
        }
    });
}

}  // namespace orv::framework
