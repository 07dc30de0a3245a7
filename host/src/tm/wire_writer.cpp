#include "wire_writer.h"

#include <algorithm>
#include <bit>

#include "message_group.h"
#include "wire_form.h"

namespace orv::tm {

namespace {

/// A smaller byte field is copied twice, which takes less time than remembering it.
constexpr std::size_t kLargeField = 512;
/// Rows that are written at a time: few enough to stay in the first-level cache, which the vector's zeroes
/// reach before them.
constexpr std::size_t kRowsAtOnce = 32;

}  // namespace

std::vector<std::byte> Wire_writer::write() {
    if (message_.get_use_send_member_string()) {
        shapes_.add_to_catalog(message_.catalog(TMG_MEMBERS).entries());
        shapes_.add_to_catalog(message_.catalog(TMG_RESERVED).entries());
    }
    visit_struct(message_.members(TMG_RESERVED));
    visit_struct(message_.members(TMG_MEMBERS));
    Byte_sink head;
    write_head(head);
    const std::size_t size = head.bytes.size() + size_of_values();
    if (size > wire::kMaxMessageSize) {
        throw Tm_exception(
            fmt::format("cannot send a message of {} bytes; the limit is {}", size, wire::kMaxMessageSize));
    }
    head.bytes.reserve(size);
    append_values(head.bytes);
    return std::move(head.bytes);
}

std::size_t Wire_writer::size_of_values() const {
    std::size_t size = values_.bytes.size();
    for (const Field& field : fields_) size += field.size;
    return size;
}

void Wire_writer::append_values(std::vector<std::byte>& to) const {
    const auto append = [&to](std::span<const std::byte> bytes) {
        to.insert(to.end(), bytes.begin(), bytes.end());
    };
    const std::span<const std::byte> values(values_.bytes);
    std::size_t position = 0;
    for (const Field& field : fields_) {
        append(values.subspan(position, field.position - position));
        field.write ? append_rows(field, to) : append({field.bytes, field.size});
        position = field.position;
    }
    append(values.subspan(position));
}

void Wire_writer::append_rows(const Field& field, std::vector<std::byte>& to) {
    const std::size_t count = field.size / field.row_size;
    for (std::size_t first = 0; first < count; first += kRowsAtOnce) {
        const std::size_t now = std::min(kRowsAtOnce, count - first);
        const std::size_t position = to.size();
        to.resize(position + now * field.row_size);
        (*field.write)(first, now, to.data() + position);
    }
}

void Wire_writer::write_head(Byte_sink& sink) const {
    const bool use_catalog = message_.get_use_send_member_string();
    const Tm_header& header = message_.header();
    msgpack::packer<Byte_sink> packer(sink);
    packer.pack_array(wire::kMessageItems + (use_catalog ? 1 : 0));
    packer.pack_uint64(wire::kFormatVersion);
    packer.pack_uint8(message_.get_msg_type());
    packer.pack_uint64((header.get_discard_eligible() ? wire::kFlagDiscardEligible : 0) |
                       (use_catalog ? wire::kFlagCatalog : 0));
    packer.pack_uint32(header.get_seq_no());
    pack_text(packer, message_.get_request_name(), wire::kMaxStringSize, "a request name");
    packer.pack_int32(message_.get_fault_code());
    pack_text(packer, message_.get_fault_string(), wire::kMaxStringSize, "a fault string");
    if (use_catalog) {
        packer.pack_array(static_cast<std::uint32_t>(shapes_.catalog().size()));
        for (const std::string& name : shapes_.catalog()) {
            pack_text(packer, name, Message::kMaxNameLength, "a member name");
        }
    }
    packer.pack_array(static_cast<std::uint32_t>(shapes_.shapes().size()));
    for (const std::string& shape : shapes_.shapes()) sink.write(shape.data(), shape.size());
}

void Wire_writer::check_depth(int depth) const {
    if (depth > Message::kMaxDepth) {
        throw Tm_exception(fmt::format("cannot send values nested over {} levels deep", Message::kMaxDepth));
    }
}

void Wire_writer::visit_scalar(const Tm_scalar& value) {
    switch (value.kind) {
        case TMV_INT8:
        case TMV_INT16:
        case TMV_INT32:
        case TMV_INT64:
            out_.pack_int64(value.i);
            break;
        case TMV_DOUBLE:
            write_double(values_, value.d);
            break;
        case TMV_BOOL:
            value.b ? out_.pack_true() : out_.pack_false();
            break;
        default:
            out_.pack_uint64(value.u);
            break;
    }
}

void Wire_writer::write_double(Byte_sink& sink, double value) {
    // The packer turns whole numbers into integers, which would lose the sign of -0.
    char item[9] = {static_cast<char>(0xcb)};
    const auto bits = std::bit_cast<std::uint64_t>(value);
    for (unsigned i = 0; i < 8; ++i) item[1 + i] = static_cast<char>(bits >> (56 - 8 * i));
    sink.write(item, sizeof item);
}

void Wire_writer::visit_string(std::string_view text) {
    pack_text(out_, text, wire::kMaxStringSize, "a string");
}

void Wire_writer::visit_struct(const Tm_struct& value) {
    out_.pack_array(static_cast<std::uint32_t>(value.size() + 1));
    out_.pack_uint32(shapes_.id_of(value));
    write_members(value);
}

void Wire_writer::write_members(const Tm_struct& value) {
    check_depth(++depth_);
    for (std::size_t i = 0; i < value.size(); ++i) {
        if (const Tm_value* member = value.member_value(i)) {
            member->accept(*this);
        } else {
            visit_scalar(value.member_scalar(i));
        }
    }
    --depth_;
}

void Wire_writer::visit_array(const Tm_array& array) {
    check_depth(++depth_);
    const TMV kind = array.element_kind();
    out_.pack_array(2);
    out_.pack_uint8(kind);
    if (is_simple(kind)) {
        write_bytes(array.simple_bytes(kind));
    } else if (kind == TMV_STRUCT) {
        write_structs(array);
    } else {
        out_.pack_array(static_cast<std::uint32_t>(array.size()));
        for (std::size_t i = 0; i < array.size(); ++i) array.accept_element(static_cast<int>(i), *this);
    }
    --depth_;
}

void Wire_writer::write_structs(const Tm_array& array) {
    const std::vector<Stretch> stretches = stretches_of(array);
    out_.pack_array(static_cast<std::uint32_t>(stretches.size()));
    for (const Stretch& stretch : stretches) {
        out_.pack_array(3);
        out_.pack_uint32(stretch.shape_id);
        out_.pack_uint64(stretch.elements.count);
        if (stretch.elements.run.shape != nullptr) {
            write_run(stretch.elements);
            continue;
        }
        out_.pack_array(static_cast<std::uint32_t>(stretch.elements.count));
        for (std::size_t i = 0; i < stretch.elements.count; ++i) {
            const Tm_struct& value = *array.get_member_struct(static_cast<int>(stretch.elements.first + i));
            out_.pack_array(static_cast<std::uint32_t>(value.size()));
            write_members(value);
        }
    }
}

std::vector<Wire_writer::Stretch> Wire_writer::stretches_of(const Tm_array& array) {
    std::vector<Stretch> result;
    for (Tm_array::Segment& segment : array.segments_to_write()) {
        if (segment.run.shape != nullptr && wire::travels_packed(*segment.run.shape)) {
            const std::uint32_t id = shapes_.id_of_rows(*segment.run.shape);
            result.push_back({id, std::move(segment)});
        } else {
            add_objects(result, array, segment);
        }
    }
    return result;
}

void Wire_writer::add_objects(std::vector<Stretch>& stretches, const Tm_array& array,
                              const Tm_array::Segment& segment) {
    for (std::size_t i = segment.first; i < segment.first + segment.count; ++i) {
        const std::uint32_t id = shapes_.id_of(*array.get_member_struct(static_cast<int>(i)));
        const bool joins = !stretches.empty() && stretches.back().elements.run.shape == nullptr &&
                           stretches.back().shape_id == id;
        if (joins) {
            ++stretches.back().elements.count;
        } else {
            stretches.push_back({id, {i, 1, {}}});
        }
    }
}

void Wire_writer::write_run(const Tm_array::Segment& segment) {
    const Tm_struct_run& run = segment.run;
    check_depth(depth_ + run.shape->depth());
    const std::size_t row_size = run.shape->row_size(), size = run.count * row_size;
    if (segment.write == nullptr) return write_bytes({run.rows, size});
    write_size_of_bytes(size);
    fields_.push_back({values_.bytes.size(), size, nullptr, segment.write, row_size});
}

void Wire_writer::write_size_of_bytes(std::size_t size) {
    if (size > wire::kMaxMessageSize) {
        throw Tm_exception(
            fmt::format("cannot send an array of {} bytes; the limit is {}", size, wire::kMaxMessageSize));
    }
    out_.pack_bin(static_cast<std::uint32_t>(size));
}

void Wire_writer::write_bytes(std::span<const std::byte> bytes) {
    write_size_of_bytes(bytes.size());
    if (bytes.size() >= kLargeField) {
        fields_.push_back({values_.bytes.size(), bytes.size(), bytes.data(), nullptr, 0});
    } else {
        out_.pack_bin_body(reinterpret_cast<const char*>(bytes.data()),
                           static_cast<std::uint32_t>(bytes.size()));
    }
}

}  // namespace orv::tm
