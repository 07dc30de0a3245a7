// Structs whose names come from a shape: those of a decoded message, and unpacked rows.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "orv/tm/backed_array.h"
#include "orv/tm/flat_shape.h"
#include "orv/tm/struct.h"

namespace orv::tm {

/// A struct that shares its names with all structs of one shape in a message. A clone keeps the names alive
/// after the message is gone.
class Shaped_struct : public Tm_struct {
  public:
    using Names = std::shared_ptr<const std::vector<std::string>>;

    explicit Shaped_struct(Names names) : names_(std::move(names)) {}
    const char* member_name(std::size_t index) const override { return (*names_)[index].c_str(); }
    std::unique_ptr<Tm_value> clone() const override;

  protected:
    void check_takes_names() const override;

  private:
    Names names_;
};

/// One row of a run as a struct. Its inline arrays refer to the row's memory; a clone copies them.
class Flat_struct : public Tm_struct {
  public:
    Flat_struct(std::shared_ptr<const Tm_flat_shape> shape, const std::byte* row);
    const char* member_name(std::size_t index) const override {
        return shape_->members()[index].name.c_str();
    }
    std::unique_ptr<Tm_value> clone() const override;

  protected:
    void check_takes_names() const override;

  private:
    struct Cursor {
        const std::byte* simple;
        const std::byte* arrays;
    };
    explicit Flat_struct(std::shared_ptr<const Tm_flat_shape> shape) : shape_(std::move(shape)) {}
    void unpack(Cursor& from);

    std::shared_ptr<const Tm_flat_shape> shape_;
};

/// A backed array over raw bytes: part of a decoded message or of a row.
class Bytes_array : public Tm_backed_array_base {
  public:
    Bytes_array(const std::byte* first, int count, TMV element_kind)
        : Tm_backed_array_base(first, count, element_kind, width_of(element_kind)) {}
};

}  // namespace orv::tm
