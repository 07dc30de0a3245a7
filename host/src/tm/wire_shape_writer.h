// The shapes of a message that is being written.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "orv/tm/flat_shape.h"
#include "orv/tm/struct.h"

namespace orv::tm {

/// Numbers shapes in order of first use. Two structs share a shape when their member lists are the same bytes
/// on the wire.
class Wire_shape_writer {
  public:
    explicit Wire_shape_writer(bool use_catalog) : use_catalog_(use_catalog) {}

    /// Names that go into the catalog before those that shapes use.
    void add_to_catalog(const std::vector<std::string>& names);

    std::uint32_t id_of(const Tm_struct& value);
    std::uint32_t id_of_rows(const Tm_flat_shape& shape);

    const std::vector<std::string>& catalog() const { return catalog_; }
    /// The member lists, each as it goes onto the wire.
    const std::vector<std::string>& shapes() const { return shapes_; }

  private:
    struct Member_list;
    std::uint32_t name_index(std::string_view name);
    std::uint32_t id_of_list(std::string list);

    bool use_catalog_;
    std::vector<std::string> catalog_;
    std::map<std::string, std::uint32_t, std::less<>> name_indices_;
    std::vector<std::string> shapes_;
    std::map<std::string, std::uint32_t> ids_;
    std::unordered_map<const Tm_flat_shape*, std::uint32_t> flat_ids_;
};

}  // namespace orv::tm
