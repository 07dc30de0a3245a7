#include "orv/tm/array.h"

#include <algorithm>
#include <climits>

#include <fmt/format.h>

#include "flat_struct.h"
#include "scalar_bytes.h"

namespace orv::tm {

/// For memory that is written before it is read.
template <class T>
struct Without_zeroes : std::allocator<T> {
    template <class Other>
    struct rebind {
        using other = Without_zeroes<Other>;
    };
    template <class Object, class... Arguments>
    void construct(Object* at, Arguments&&... arguments) {
        if constexpr (sizeof...(Arguments) == 0) {
            ::new (static_cast<void*>(at)) Object;
        } else {
            ::new (static_cast<void*>(at)) Object(std::forward<Arguments>(arguments)...);
        }
    }
};

/// Consecutive elements that are held the same way.
struct Tm_array::Stretch {
    std::size_t first = 0;
    std::size_t count = 0;
    std::vector<std::unique_ptr<Tm_value>> objects;  ///< one per element, unless the stretch is a run
    mutable Tm_struct_run run;                       ///< shape null: no run
    bool owns_rows = false;
    Tm_row_writer write;  ///< of rows that are written when they are needed
    /// What the run refers to when it owns its rows, or when they have been written.
    mutable std::vector<std::byte, Without_zeroes<std::byte>> rows;
    mutable std::vector<std::unique_ptr<Tm_struct>> unpacked;  ///< the run's elements that were asked for

    bool waits_for_rows() const { return run.rows == nullptr && write; }
    void write_rows() const {
        if (!waits_for_rows()) return;
        rows.resize(count * run.shape->row_size());
        write(0, count, rows.data());
        run.rows = rows.data();
    }
    const std::byte* row(std::size_t index) const {
        write_rows();
        return run.rows + (index - first) * run.shape->row_size();
    }
    const Tm_struct* unpacked_element(std::size_t index) const {
        return unpacked.empty() ? nullptr : unpacked[index - first].get();
    }
};

Tm_array::Tm_array() = default;
Tm_array::~Tm_array() = default;

void Tm_array::reserve(std::size_t count) {
    reserved_ = count;
}

void Tm_array::clear() {
    simple_.clear();
    stretches_.clear();
    size_ = 0;
    element_kind_ = TMV_STRUCT;
}

void Tm_array::admit(TMV kind, std::size_t count) {
    if (size_ == 0) {
        element_kind_ = kind;
    } else if (kind != element_kind_) {
        throw Tm_type_mismatch_exception(element_kind_, kind, "an array takes elements of one kind");
    }
    if (count > INT_MAX - size_) throw Tm_exception("an array takes no more than 2147483647 elements");
}

void Tm_array::admit_rows(const Tm_flat_shape* shape, std::size_t count) {
    if (shape == nullptr) throw Tm_exception("packed structs need a shape");
    // Asks the virtual operation, so that a backed array refuses rows too.
    if (is_simple(element_kind())) throw Tm_type_mismatch_exception(element_kind(), TMV_STRUCT);
    admit(TMV_STRUCT, count);
}

void Tm_array::add_member(Tm_scalar value) {
    admit(value.kind, 1);
    const std::size_t width = width_of(value.kind);
    if (simple_.empty()) simple_.reserve(reserved_ * width);
    simple_.resize(simple_.size() + width);
    store_scalar(value, simple_.data() + simple_.size() - width);
    ++size_;
}

void Tm_array::add_member_and_own(Tm_value* value) {
    std::unique_ptr<Tm_value> owned(value);
    if (owned == nullptr) throw Tm_exception("an array element has no value");
    if (const auto* simple = dynamic_cast<const Tm_simple*>(owned.get())) {
        Tm_array::add_member(simple->value());
    } else {
        append_object(std::move(owned));
    }
}

void Tm_array::append_object(std::unique_ptr<Tm_value> value) {
    admit(value->kind(), 1);
    if (stretches_.empty() || stretches_.back().run.shape != nullptr) {
        stretches_.emplace_back().first = size_;
        if (reserved_ > size_) stretches_.back().objects.reserve(reserved_ - size_);
    }
    stretches_.back().objects.push_back(std::move(value));
    ++stretches_.back().count;
    ++size_;
}

std::byte* Tm_array::append_rows(const std::shared_ptr<const Tm_flat_shape>& shape, std::size_t count) {
    if (count == 0) return nullptr;
    admit_rows(shape.get(), count);
    if (stretches_.empty() || !stretches_.back().owns_rows || stretches_.back().run.shape != shape) {
        Stretch& added = stretches_.emplace_back();
        added.first = size_;
        added.run.shape = shape;
        added.owns_rows = true;
    }
    Stretch& stretch = stretches_.back();
    const std::size_t old_size = stretch.rows.size();
    stretch.rows.resize(old_size + count * shape->row_size());
    stretch.unpacked.clear();  // their inline arrays may refer to memory that has just moved
    stretch.count += count;
    stretch.run.rows = stretch.rows.data();
    stretch.run.count = stretch.count;
    size_ += count;
    return stretch.rows.data() + old_size;
}

void Tm_array::append_borrowed_run(Tm_struct_run run) {
    if (run.count == 0) return;
    admit_rows(run.shape.get(), run.count);
    Stretch& stretch = stretches_.emplace_back();
    stretch.first = size_;
    stretch.count = run.count;
    size_ += run.count;
    stretch.run = std::move(run);
}

void Tm_array::append_written_run(const std::shared_ptr<const Tm_flat_shape>& shape, std::size_t count,
                                  Tm_row_writer write) {
    append_borrowed_run({shape, nullptr, count});
    if (count > 0) stretches_.back().write = std::move(write);
}

std::vector<Tm_array::Segment> Tm_array::segments() const {
    for (const Stretch& stretch : stretches_) stretch.write_rows();
    return segments_to_write();
}

std::vector<Tm_array::Segment> Tm_array::segments_to_write() const {
    std::vector<Segment> result;
    result.reserve(stretches_.size());
    for (const Stretch& stretch : stretches_) {
        result.push_back(
            {stretch.first, stretch.count, stretch.run, stretch.waits_for_rows() ? &stretch.write : nullptr});
    }
    return result;
}

void Tm_array::check_access(int index, TMV asked_for) const {
    // An empty array has no kind of its own, so that the index is what is wrong with the access.
    if (size_ > 0 && asked_for != element_kind_) throw Tm_type_mismatch_exception(element_kind_, asked_for);
    if (index < 0 || static_cast<std::size_t>(index) >= size_) {
        throw Tm_out_of_range_exception(index, 0, static_cast<int>(size_) - 1);
    }
}

template <class T>
T Tm_array::simple_element(int index) const {
    check_access(index, kind_of<T>);
    return load_as<T>(simple_.data() + static_cast<std::size_t>(index) * sizeof(T));
}

const Tm_array::Stretch& Tm_array::stretch_of(std::size_t index) const {
    auto after = std::upper_bound(stretches_.begin(), stretches_.end(), index,
                                  [](std::size_t i, const Stretch& stretch) { return i < stretch.first; });
    return *std::prev(after);
}

const Tm_value& Tm_array::object(int index, TMV asked_for) const {
    check_access(index, asked_for);
    const auto position = static_cast<std::size_t>(index);
    const Stretch& stretch = stretch_of(position);
    return *stretch.objects[position - stretch.first];
}

std::int8_t Tm_array::get_member_int8(int index) const {
    return simple_element<std::int8_t>(index);
}
std::uint8_t Tm_array::get_member_uint8(int index) const {
    return simple_element<std::uint8_t>(index);
}
std::int16_t Tm_array::get_member_int16(int index) const {
    return simple_element<std::int16_t>(index);
}
std::uint16_t Tm_array::get_member_uint16(int index) const {
    return simple_element<std::uint16_t>(index);
}
std::int32_t Tm_array::get_member_int32(int index) const {
    return simple_element<std::int32_t>(index);
}
std::uint32_t Tm_array::get_member_uint32(int index) const {
    return simple_element<std::uint32_t>(index);
}
std::int64_t Tm_array::get_member_int64(int index) const {
    return simple_element<std::int64_t>(index);
}
std::uint64_t Tm_array::get_member_uint64(int index) const {
    return simple_element<std::uint64_t>(index);
}
double Tm_array::get_member_double(int index) const {
    return simple_element<double>(index);
}
bool Tm_array::get_member_bool(int index) const {
    return simple_element<bool>(index);
}

const char* Tm_array::get_member_string(int index) const {
    return static_cast<const Tm_string&>(object(index, TMV_STRING)).text().c_str();
}

const Tm_array* Tm_array::get_member_array(int index) const {
    return static_cast<const Tm_array*>(&object(index, TMV_ARRAY));
}

const Tm_struct* Tm_array::get_member_struct(int index) const {
    check_access(index, TMV_STRUCT);
    const auto position = static_cast<std::size_t>(index);
    const Stretch& stretch = stretch_of(position);
    if (stretch.run.shape == nullptr) {
        return static_cast<const Tm_struct*>(stretch.objects[position - stretch.first].get());
    }
    if (stretch.unpacked.empty()) stretch.unpacked.resize(stretch.count);
    std::unique_ptr<Tm_struct>& element = stretch.unpacked[position - stretch.first];
    if (element == nullptr) element = std::make_unique<Flat_struct>(stretch.run.shape, stretch.row(position));
    return element.get();
}

std::span<const std::byte> Tm_array::simple_bytes(TMV kind) const {
    if (size_ > 0 && kind != element_kind_) throw Tm_type_mismatch_exception(element_kind_, kind);
    return simple_;
}

std::unique_ptr<Tm_value> Tm_array::clone() const {
    auto copy = std::make_unique<Tm_array>();
    copy->element_kind_ = element_kind_;
    copy->size_ = size_;
    copy->simple_ = simple_;
    for (const Stretch& stretch : stretches_) {
        stretch.write_rows();
        Stretch& target = copy->stretches_.emplace_back();
        target.first = stretch.first;
        target.count = stretch.count;
        for (const auto& value : stretch.objects) target.objects.push_back(value->clone());
        if (stretch.run.shape != nullptr) {
            target.owns_rows = true;
            target.rows.assign(stretch.run.rows,
                               stretch.run.rows + stretch.count * stretch.run.shape->row_size());
            target.run = {stretch.run.shape, target.rows.data(), stretch.count};
        }
    }
    return copy;
}

void Tm_array::accept(Tm_visitor& visitor) const {
    visitor.visit_array(*this);
}

void Tm_array::accept_element(int index, Tm_visitor& visitor) const {
    check_access(index, element_kind_);
    const auto position = static_cast<std::size_t>(index);
    if (is_simple(element_kind_)) {
        visitor.visit_scalar(load_scalar(element_kind_, simple_.data() + position * width_of(element_kind_)));
        return;
    }
    const Stretch& stretch = stretch_of(position);
    if (stretch.run.shape == nullptr) {
        stretch.objects[position - stretch.first]->accept(visitor);
    } else if (const Tm_struct* unpacked = stretch.unpacked_element(position)) {
        visitor.visit_struct(*unpacked);
    } else {
        visitor.visit_struct(Flat_struct(stretch.run.shape, stretch.row(position)));  // a walk keeps nothing
    }
}

}  // namespace orv::tm
