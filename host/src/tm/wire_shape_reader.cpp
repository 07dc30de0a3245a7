#include "wire_shape_reader.h"

#include <algorithm>

#include <fmt/format.h>

#include "orv/tm/message.h"
#include "wire_form.h"

namespace orv::tm {
namespace {

/// A name that comes twice, or null. Sorts, because a peer could choose names whose hashes collide.
const std::string* find_twice(const std::vector<std::string>& names) {
    std::vector<const std::string*> sorted;
    sorted.reserve(names.size());
    for (const std::string& name : names) sorted.push_back(&name);
    std::sort(sorted.begin(), sorted.end(), [](const auto* a, const auto* b) { return *a < *b; });
    auto twice = std::adjacent_find(sorted.begin(), sorted.end(),
                                    [](const auto* a, const auto* b) { return *a == *b; });
    return twice == sorted.end() ? nullptr : *twice;
}

}  // namespace

void Wire_shape_reader::read_catalog() {
    use_catalog_ = true;
    const std::uint32_t count = tokens_.take_array("the catalog");
    catalog_.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        catalog_.emplace_back(tokens_.take_string(Message::kMaxNameLength, "a name in the catalog"));
    }
    if (const std::string* name = find_twice(catalog_)) {
        tokens_.fail(fmt::format("the catalog has the name {} twice", tm::quoted(*name)));
    }
}

void Wire_shape_reader::read_shapes() {
    const std::uint32_t count = tokens_.take_array("the list of shapes");
    shapes_.reserve(count);
    for (std::uint32_t i = 0; i < count; ++i) shapes_.push_back(read_shape());
}

Wire_shape_reader::Shape Wire_shape_reader::read_shape() {
    const std::uint32_t count = tokens_.take_array("a shape");
    Shape shape;
    shape.kinds.reserve(count);
    auto names = std::make_shared<std::vector<std::string>>();
    names->reserve(count);
    std::vector<Tm_flat_member> members;
    for (std::uint32_t i = 0; i < count; ++i) {
        read_member(shape, members);
        names->push_back(members.back().name);
    }
    if (const std::string* name = find_twice(*names)) {
        tokens_.fail(fmt::format("shape {} has the member {} twice", shapes_.size(), tm::quoted(*name)));
    }
    shape.names = std::move(names);
    if (shape.rows_only) shape.flat = make_flat(std::move(members));
    return shape;
}

void Wire_shape_reader::read_member(Shape& shape, std::vector<Tm_flat_member>& members) {
    const std::uint32_t items = tokens_.take_array("a member of a shape");
    if (items < 2 || items > 4)
        tokens_.fail(fmt::format("a member of a shape has {} items, not 2 to 4", items));
    Tm_flat_member& member = members.emplace_back();
    member.name = take_name();
    member.kind = static_cast<TMV>(tokens_.take_unsigned(TMV_ARRAY, "the kind of a member"));
    shape.kinds.push_back(member.kind);
    const std::uint32_t expected = member.kind == TMV_STRUCT ? 3 : member.kind == TMV_ARRAY ? 4 : 2;
    if (items != 2 && items != expected) {
        tokens_.fail(fmt::format("the member {} of kind {} has {} items", tm::quoted(member.name),
                                 name_of(member.kind), items));
    }
    if (items == 3) {
        member.nested = run_shape(take_id());
    } else if (items == 4) {
        member.element = static_cast<TMV>(tokens_.take_unsigned(TMV_BOOL, "the kind of an inline array"));
        member.length = tokens_.take_unsigned(Tm_flat_shape::kMaxRowSize, "the length of an inline array");
    }
    shape.rows_only = shape.rows_only || items > 2;
}

std::string Wire_shape_reader::take_name() {
    if (!use_catalog_)
        return std::string(tokens_.take_string(Message::kMaxNameLength, "the name of a member"));
    const std::uint64_t index = tokens_.take_unsigned(UINT32_MAX, "the name of a member");
    if (index >= catalog_.size()) {
        tokens_.fail(fmt::format("name {} is beyond the catalog of {} names", index, catalog_.size()));
    }
    return catalog_[index];
}

std::size_t Wire_shape_reader::take_id() {
    // While the shapes are read, only earlier ones are there, so a shape cannot hold itself.
    const std::uint64_t id = tokens_.take_unsigned(UINT32_MAX, "a shape's number");
    if (id >= shapes_.size()) {
        tokens_.fail(fmt::format("shape {} where there are {} shapes so far", id, shapes_.size()));
    }
    return id;
}

const Wire_shape_reader::Shape& Wire_shape_reader::take_struct_shape() {
    const std::size_t id = take_id();
    if (shapes_[id].rows_only)
        tokens_.fail(fmt::format("shape {} is one of packed rows, not of a struct", id));
    return shapes_[id];
}

std::shared_ptr<const Tm_flat_shape> Wire_shape_reader::run_shape(std::size_t id) {
    Shape& shape = shapes_[id];
    if (shape.flat == nullptr) {
        std::vector<Tm_flat_member> members(shape.kinds.size());
        for (std::size_t i = 0; i < members.size(); ++i) {
            members[i].name = (*shape.names)[i];
            members[i].kind = shape.kinds[i];
        }
        shape.flat = make_flat(std::move(members));
    }
    return shape.flat;
}

std::shared_ptr<const Tm_flat_shape> Wire_shape_reader::make_flat(std::vector<Tm_flat_member> members) const {
    try {
        Tm_flat_shape shape(std::move(members));
        if (auto known = Tm_flat_shape::find_interned(shape)) return known;
        return std::make_shared<const Tm_flat_shape>(std::move(shape));
    } catch (const Tm_exception& problem) {
        tokens_.fail(problem.what());
    }
}

}  // namespace orv::tm
