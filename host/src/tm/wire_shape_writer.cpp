#include "wire_shape_writer.h"

#include "orv/tm/message.h"
#include "wire_sink.h"

namespace orv::tm {

/// A member list in the making.
struct Wire_shape_writer::Member_list {
    Wire_shape_writer& owner;
    Text_sink sink = {};
    msgpack::packer<Text_sink> packer{sink};

    void start_member(std::uint32_t items, std::string_view name, TMV kind) {
        packer.pack_array(items);
        if (owner.use_catalog_) {
            packer.pack_uint32(owner.name_index(name));
        } else {
            pack_text(packer, name, Message::kMaxNameLength, "a member name");
        }
        packer.pack_uint8(kind);
    }
};

void Wire_shape_writer::add_to_catalog(const std::vector<std::string>& names) {
    for (const std::string& name : names) name_index(name);
}

std::uint32_t Wire_shape_writer::name_index(std::string_view name) {
    if (auto known = name_indices_.find(name); known != name_indices_.end()) return known->second;
    const auto index = static_cast<std::uint32_t>(catalog_.size());
    name_indices_.emplace(name, index);
    catalog_.emplace_back(name);
    return index;
}

std::uint32_t Wire_shape_writer::id_of(const Tm_struct& value) {
    Member_list list{*this};
    list.packer.pack_array(static_cast<std::uint32_t>(value.size()));
    for (std::size_t i = 0; i < value.size(); ++i)
        list.start_member(2, value.member_name(i), value.member_kind(i));
    return id_of_list(std::move(list.sink.text));
}

std::uint32_t Wire_shape_writer::id_of_rows(const Tm_flat_shape& shape) {
    if (auto known = flat_ids_.find(&shape); known != flat_ids_.end()) return known->second;
    Member_list list{*this};
    list.packer.pack_array(static_cast<std::uint32_t>(shape.members().size()));
    for (const Tm_flat_member& member : shape.members()) {
        if (member.kind == TMV_STRUCT) {
            const std::uint32_t nested =
                id_of_rows(*member.nested);  // numbered before the shape that holds it
            list.start_member(3, member.name, member.kind);
            list.packer.pack_uint32(nested);
        } else if (member.kind == TMV_ARRAY) {
            list.start_member(4, member.name, member.kind);
            list.packer.pack_uint8(member.element);
            list.packer.pack_uint64(member.length);
        } else {
            list.start_member(2, member.name, member.kind);
        }
    }
    const std::uint32_t id = id_of_list(std::move(list.sink.text));
    flat_ids_.emplace(&shape, id);
    return id;
}

std::uint32_t Wire_shape_writer::id_of_list(std::string list) {
    auto [entry, added] = ids_.try_emplace(std::move(list), static_cast<std::uint32_t>(shapes_.size()));
    if (added) shapes_.push_back(entry->first);
    return entry->second;
}

}  // namespace orv::tm
