// The shapes of a received message.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "flat_struct.h"
#include "wire_tokens.h"

namespace orv::tm {

class Wire_shape_reader {
  public:
    struct Shape {
        Shaped_struct::Names names;
        std::vector<TMV> kinds;
        bool rows_only =
            false;  ///< has nested shapes or inline arrays, so that it describes packed rows only
        std::shared_ptr<const Tm_flat_shape> flat;  ///< made when first used, unless rows_only
    };

    explicit Wire_shape_reader(Wire_tokens& tokens) : tokens_(tokens) {}

    void read_catalog();
    void read_shapes();
    const std::vector<std::string>& catalog() const { return catalog_; }

    /// The shape of a struct value, named by the next item.
    const Shape& take_struct_shape();
    /// The shape of a run: a shape that this process knows, if there is an equal one.
    std::shared_ptr<const Tm_flat_shape> run_shape(std::size_t id);
    std::size_t take_id();
    const Shape& at(std::size_t id) const { return shapes_[id]; }

  private:
    Shape read_shape();
    std::string take_name();
    void read_member(Shape& shape, std::vector<Tm_flat_member>& members);
    std::shared_ptr<const Tm_flat_shape> make_flat(std::vector<Tm_flat_member> members) const;

    Wire_tokens& tokens_;
    bool use_catalog_ = false;
    std::vector<std::string> catalog_;
    std::vector<Shape> shapes_;
};

}  // namespace orv::tm
