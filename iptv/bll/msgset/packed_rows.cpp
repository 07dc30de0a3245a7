#include "msgset/packed_rows.h"

namespace orv::msgset {

using tm::Tm_flat_member;
using tm::Tm_flat_shape;

namespace {

std::shared_ptr<const Tm_flat_shape> address_shape(std::uint32_t type) {
    if (type == Row_shapes::kNoAddress) return Tm_flat_shape::intern({});
    const Tm_flat_member bytes{.name = iptvcd_1_bll::Ipv4Address_t_names[0],
                               .kind = tm::TMV_ARRAY,
                               .element = tm::TMV_UINT8,
                               .length = ipAddress_t::length_of(type)};
    const Tm_flat_member address{.name = type == ipAddress_t::kV4 ? "v4" : "v6",
                                 .kind = tm::TMV_STRUCT,
                                 .nested = Tm_flat_shape::intern({bytes})};
    return Tm_flat_shape::intern({address});
}

}  // namespace

Row_shapes::Row_shapes(const char* const* names, std::initializer_list<tm::TMV> kinds) {
    for (std::uint32_t type = 0; type <= kNoAddress; ++type) {
        std::vector<Tm_flat_member> members;
        const char* const* name = names;
        for (tm::TMV kind : kinds) {
            members.push_back({.name = *name++,
                               .kind = kind,
                               .nested = kind == tm::TMV_STRUCT ? address_shape(type) : nullptr});
        }
        shapes_[type] = Tm_flat_shape::intern(std::move(members));
    }
}

std::optional<std::uint32_t> Row_shapes::address_type_of(
    const std::shared_ptr<const tm::Tm_flat_shape>& shape) const {
    if (shape == nullptr) return std::nullopt;
    for (std::uint32_t type = 0; type <= kNoAddress; ++type)
        if (shape == shapes_[type]) return type;
    // A message decoded before the first use of this record has an equal shape of its own.
    for (std::uint32_t type = 0; type <= kNoAddress; ++type)
        if (*shape == *shapes_[type]) return type;
    return std::nullopt;
}

}  // namespace orv::msgset
