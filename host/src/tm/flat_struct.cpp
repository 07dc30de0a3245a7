#include "flat_struct.h"

#include "scalar_bytes.h"

namespace orv::tm {

std::unique_ptr<Tm_value> Shaped_struct::clone() const {
    auto copy = std::make_unique<Shaped_struct>(names_);
    copy->append_copies(*this);
    return copy;
}

void Shaped_struct::check_takes_names() const {
    throw Tm_exception("no member can be added to a struct of a received message");
}

Flat_struct::Flat_struct(std::shared_ptr<const Tm_flat_shape> shape, const std::byte* row)
    : shape_(std::move(shape)) {
    Cursor from{row, row + shape_->simple_size()};
    unpack(from);
}

void Flat_struct::unpack(Cursor& from) {
    reserve_row(shape_->members().size());
    for (const Tm_flat_member& member : shape_->members()) {
        if (member.kind == TMV_STRUCT) {
            std::unique_ptr<Flat_struct> nested(new Flat_struct(member.nested));
            nested->unpack(from);
            append_and_own(std::move(nested));
        } else if (member.kind == TMV_ARRAY) {
            append_and_own(
                std::make_unique<Bytes_array>(from.arrays, static_cast<int>(member.length), member.element));
            from.arrays += member.length * width_of(member.element);
        } else {
            append(load_scalar(member.kind, from.simple));
            from.simple += width_of(member.kind);
        }
    }
}

std::unique_ptr<Tm_value> Flat_struct::clone() const {
    std::unique_ptr<Flat_struct> copy(new Flat_struct(shape_));
    copy->append_copies(*this);
    return copy;
}

void Flat_struct::check_takes_names() const {
    throw Tm_exception("no member can be added to a packed struct");
}

}  // namespace orv::tm
