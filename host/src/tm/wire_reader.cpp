#include "wire_reader.h"

#include <bit>
#include <climits>
#include <limits>

#include <fmt/format.h>

#include "message_group.h"
#include "scalar_bytes.h"
#include "wire_form.h"

namespace orv::tm {
namespace {

using Type = Wire_token::Type;

std::string item_text(const Wire_token& token) {
    switch (token.type) {
        case Type::kUnsigned:
            return fmt::format("{}", token.bits);
        case Type::kNegative:
            return fmt::format("{}", static_cast<std::int64_t>(token.bits));
        case Type::kDouble:
            return "a float64";
        case Type::kBool:
            return "a bool";
        default:
            return "no simple value";
    }
}

/// Whether the token holds a value of type T; if so, the value.
template <class T>
bool to_value(const Wire_token& token, T& value) {
    if constexpr (std::is_same_v<T, bool>) {
        value = token.bits != 0;
        return token.type == Type::kBool;
    } else if constexpr (std::is_floating_point_v<T>) {
        value = std::bit_cast<double>(token.bits);
        return token.type == Type::kDouble;
    } else {
        value = static_cast<T>(token.bits);
        if (token.type == Type::kUnsigned)
            return token.bits <= static_cast<std::uint64_t>(std::numeric_limits<T>::max());
        return std::is_signed_v<T> && token.type == Type::kNegative &&
               static_cast<std::int64_t>(token.bits) >=
                   static_cast<std::int64_t>(std::numeric_limits<T>::min());
    }
}

}  // namespace

void Wire_reader::read() {
    read_head();
    read_group(TMG_RESERVED);
    read_group(TMG_MEMBERS);
}

void Wire_reader::read_head() {
    const std::uint32_t items = tokens_.take_array("the message");
    if (items < wire::kMessageItems) tokens_.fail(fmt::format("the message has only {} items", items));
    const std::uint64_t version = tokens_.take_unsigned(UINT64_MAX, "the format version");
    if (version != wire::kFormatVersion) {
        tokens_.fail(
            fmt::format("format version {}; this side reads version {}", version, wire::kFormatVersion));
    }
    message_.set_msg_type(static_cast<TMT>(tokens_.take_unsigned(TMT_FAULT, "the message type")));
    const std::uint64_t flags = tokens_.take_unsigned(wire::kAllFlags, "the flag field");
    const bool use_catalog = (flags & wire::kFlagCatalog) != 0;
    if (items != wire::kMessageItems + (use_catalog ? 1 : 0)) {
        tokens_.fail(fmt::format("the message has {} items, which its flags {} do not allow", items, flags));
    }
    message_.header().set_discard_eligible((flags & wire::kFlagDiscardEligible) != 0);
    message_.header().set_seq_no(
        static_cast<std::uint32_t>(tokens_.take_unsigned(UINT32_MAX, "the sequence number")));
    message_.set_request_name(std::string(tokens_.take_string(wire::kMaxStringSize, "the request name")));
    const std::int32_t fault_code = read_scalar(TMV_INT32, "fault code").as<std::int32_t>();
    message_.set_fault(fault_code,
                       std::string(tokens_.take_string(wire::kMaxStringSize, "the fault string")));
    message_.set_use_send_member_string(use_catalog);
    if (use_catalog) {
        shapes_.read_catalog();
        // The wire has one catalog for both groups; keeping it whole lets the message be written as received.
        for (const std::string& name : shapes_.catalog()) message_.group(TMG_MEMBERS).catalog.note(name);
    }
    shapes_.read_shapes();
}

void Wire_reader::read_group(TMG group) {
    Tm_struct& members = *message_.group(group).members;
    const std::uint32_t items = tokens_.take_array("a member group");
    if (items == 0) tokens_.fail("a member group without a shape");
    const Wire_shape_reader::Shape& shape = shapes_.take_struct_shape();
    if (items - 1 != shape.kinds.size()) {
        tokens_.fail(fmt::format("{} values for the {} members of a group", items - 1, shape.kinds.size()));
    }
    members.own_names_ = *shape.names;  // an ordinary struct, to which members can be added
    read_row(members, shape, 1);
}

void Wire_reader::check_depth(int depth) const {
    if (depth > Message::kMaxDepth)
        tokens_.fail(fmt::format("values nested over {} levels deep", Message::kMaxDepth));
}

void Wire_reader::read_row(Tm_struct& into, const Wire_shape_reader::Shape& shape, int depth) {
    check_depth(depth);
    into.reserve_row(shape.kinds.size());
    for (std::size_t i = 0; i < shape.kinds.size(); ++i) {
        if (is_simple(shape.kinds[i])) {
            into.append(read_scalar(shape.kinds[i], (*shape.names)[i]));
        } else {
            into.append_and_own(read_value(shape.kinds[i], depth + 1));
        }
    }
}

Tm_scalar Wire_reader::read_scalar(TMV kind, const std::string& name) {
    const Wire_token& token = tokens_.take();
    return with_type_of(kind, [&]<class T>(T value) {
        if (!to_value(token, value)) {
            tokens_.fail(fmt::format("the member {} of kind {} is {}", tm::quoted(name), name_of(kind),
                                     item_text(token)));
        }
        return Tm_scalar::of(value);
    });
}

std::unique_ptr<Tm_value> Wire_reader::read_value(TMV kind, int depth) {
    switch (kind) {
        case TMV_STRING:
            return std::make_unique<Tm_string>(
                std::string(tokens_.take_string(wire::kMaxStringSize, "a string")));
        case TMV_STRUCT:
            return read_struct(depth);
        default:
            return read_array(depth);
    }
}

std::unique_ptr<Tm_struct> Wire_reader::read_struct(int depth) {
    const std::uint32_t items = tokens_.take_array("a struct");
    if (items == 0) tokens_.fail("a struct without a shape");
    const Wire_shape_reader::Shape& shape = shapes_.take_struct_shape();
    if (items - 1 != shape.kinds.size()) {
        tokens_.fail(fmt::format("{} values for the {} members of a struct", items - 1, shape.kinds.size()));
    }
    auto result = std::make_unique<Shaped_struct>(shape.names);
    read_row(*result, shape, depth);
    return result;
}

std::unique_ptr<Tm_array> Wire_reader::read_array(int depth) {
    tokens_.take_array_of(2, "an array value");
    check_depth(depth);
    const auto kind = static_cast<TMV>(tokens_.take_unsigned(TMV_ARRAY, "the kind of an array"));
    if (is_simple(kind)) return read_simple_array(kind);
    const std::uint32_t count = tokens_.take_array("the elements of an array");
    auto result = std::make_unique<Tm_array>();
    if (kind != TMV_STRUCT) result->reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        if (kind == TMV_STRUCT) {
            read_segment(*result, depth + 1);
        } else {
            result->append_object(read_value(kind, depth + 1));
        }
    }
    return result;
}

std::unique_ptr<Tm_array> Wire_reader::read_simple_array(TMV kind) {
    const std::span<const std::byte> bytes = tokens_.take_bytes("the elements of a simple array");
    if (bytes.size() % width_of(kind) != 0) {
        tokens_.fail(fmt::format("{} bytes are no whole number of {} elements", bytes.size(), name_of(kind)));
    }
    return std::make_unique<Bytes_array>(bytes.data(), static_cast<int>(bytes.size() / width_of(kind)), kind);
}

void Wire_reader::read_segment(Tm_array& into, int depth) {
    tokens_.take_array_of(3, "a stretch of structs");
    const std::size_t shape_id = shapes_.take_id();
    const std::uint64_t count = tokens_.take_unsigned(INT_MAX, "the number of structs");
    if (count == 0) tokens_.fail("an empty stretch of structs");
    if (tokens_.peek().type == Type::kBytes) {
        read_run(into, shape_id, count, depth);
    } else {
        read_objects(into, shape_id, count, depth);
    }
}

void Wire_reader::read_run(Tm_array& into, std::size_t shape_id, std::size_t count, int depth) {
    const std::shared_ptr<const Tm_flat_shape> shape = shapes_.run_shape(shape_id);
    const std::span<const std::byte> rows = tokens_.take_bytes("packed rows");
    check_depth(depth + shape->depth() - 1);
    if (!wire::travels_packed(*shape))
        tokens_.fail(fmt::format("shape {} is not one to be packed", shape_id));
    // Both factors have under 32 bits, so the product is exact.
    if (rows.size() != std::uint64_t{count} * shape->row_size()) {
        tokens_.fail(fmt::format("{} bytes for {} rows of {} bytes", rows.size(), count, shape->row_size()));
    }
    into.append_borrowed_run({shape, rows.data(), count});
}

void Wire_reader::read_objects(Tm_array& into, std::size_t shape_id, std::size_t count, int depth) {
    const Wire_shape_reader::Shape& shape = shapes_.at(shape_id);
    const std::uint32_t found = tokens_.take_array("the structs of a stretch");
    if (shape.rows_only)
        tokens_.fail(fmt::format("shape {} is one of packed rows, not of a struct", shape_id));
    if (found != count) tokens_.fail(fmt::format("{} structs where {} were announced", found, count));
    into.reserve(into.size() + count);
    for (std::size_t i = 0; i < count; ++i) {
        tokens_.take_array_of(static_cast<std::uint32_t>(shape.kinds.size()), "the members of a struct");
        auto element = std::make_unique<Shaped_struct>(shape.names);
        read_row(*element, shape, depth);
        into.append_object(std::move(element));
    }
}

}  // namespace orv::tm
