// Structs as JSON objects: one list of members per struct serves writing and reading.
#pragma once

#include <cmath>
#include <concepts>
#include <limits>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agents/protocol/requests.h"
#include "output/foreign_json.h"

namespace orv::app {

using Json = nlohmann::json;

/// Longest text in an object: of names, errors, and objects within.
inline constexpr std::size_t kLongestText = 1'000'000;

/// Writes members. Structs are written by `VisitMembers(archive, object)`, found by their types.
class JsonWriter {
  public:
    static constexpr bool kReads = false;

    template <class Member>
    void operator()(const char* name, const Member& member) {
        json_[name] = Write(member);
    }
    template <class Member>
    static Json Write(const Member& member) {
        if constexpr (std::is_enum_v<Member>) {
            return static_cast<std::underlying_type_t<Member>>(member);
        } else if constexpr (requires { typename Member::mapped_type; }) {
            Json object = Json::object();
            for (const auto& [key, value] : member) object[key] = Write(value);
            return object;
        } else if constexpr (std::is_constructible_v<Json, Member> && !requires { member.begin(); }) {
            return member;
        } else if constexpr (std::is_same_v<Member, std::string>) {
            return member;
        } else if constexpr (requires { member.begin(); }) {
            Json array = Json::array();
            for (const auto& element : member) array.push_back(Write(element));
            return array;
        } else if constexpr (requires { member.has_value(); }) {
            return member ? Write(*member) : Json();
        } else {
            JsonWriter writer;
            VisitMembers(writer, const_cast<Member&>(member));
            return std::move(writer.json_);
        }
    }

  private:
    Json json_ = Json::object();
};

/// Reads members; all must be there. Throws ProtocolError with the name of one that does not fit.
class JsonReader {
  public:
    static constexpr bool kReads = true;

    explicit JsonReader(const Json& json) : json_(json) {
        if (!json.is_object()) throw ProtocolError("expected an object");
    }

    template <class Member>
    void operator()(const char* name, Member& member) {
        const auto found = json_.find(name);
        if (found == json_.end()) throw ProtocolError(std::string(name) + " is missing");
        try {
            Read(*found, member);
        } catch (const ProtocolError& error) {
            throw ProtocolError(std::string(name) + ": " + error.what());
        }
    }
    template <class Member>
    static void Read(const Json& json, Member& member) {
        if constexpr (std::is_same_v<Member, bool>) {
            if (!json.is_boolean()) throw ProtocolError("expected true or false");
            member = json.get<bool>();
        } else if constexpr (std::is_enum_v<Member>) {
            std::underlying_type_t<Member> value{};
            Read(json, value);
            if (std::cmp_less(value, 0) || std::cmp_greater(value, GetLast(Member{})))
                throw ProtocolError("an unknown value");
            member = static_cast<Member>(value);
        } else if constexpr (std::integral<Member>) {
            const bool fits = json.is_number_unsigned() ? std::in_range<Member>(json.get<std::uint64_t>())
                                                        : json.is_number_integer() &&
                                                              std::in_range<Member>(json.get<std::int64_t>());
            if (!fits) throw ProtocolError("a number out of range");
            member = json.get<Member>();
        } else if constexpr (std::floating_point<Member>) {
            if (!json.is_number()) throw ProtocolError("expected a number");
            member = json.get<Member>();
        } else if constexpr (std::is_same_v<Member, std::string>) {
            if (!json.is_string()) throw ProtocolError("expected a text");
            member = json.get<std::string>();
            if (member.size() > kLongestText) throw ProtocolError("too long a text");
        } else if constexpr (requires { typename Member::mapped_type; }) {
            if (!json.is_object()) throw ProtocolError("expected an object");
            for (const auto& [key, value] : json.items()) Read(value, member[key]);
        } else if constexpr (requires { member.emplace_back(); }) {
            if (!json.is_array()) throw ProtocolError("expected a list");
            member.clear();
            for (const Json& element : json) Read(element, member.emplace_back());
        } else if constexpr (requires { member.has_value(); }) {
            member.reset();
            if (!json.is_null()) Read(json, member.emplace());
        } else {
            JsonReader reader(json);
            VisitMembers(reader, member);
        }
    }

  private:
    const Json& json_;
};

/// Texts from operating systems may hold any bytes.
inline std::string DumpJson(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

inline Json ParseJson(std::string_view text) {
    Json json = ParseForeignJson<Json>(text);
    if (json.is_discarded()) throw ProtocolError("this is no JSON");
    return json;
}

}  // namespace orv::app
