#include "msgset/ip_address.h"

#include <memory>

#include "msgset/msgset_support.h"

namespace iptvcd_1_bll {

namespace msgset = orv::msgset;

const char* const Ipv4Address_t_names[] = {"address", nullptr};
const char* const Ipv6Address_t_names[] = {"address", nullptr};

namespace {

constexpr const char* kV4Member = "v4";
constexpr const char* kV6Member = "v6";

template <class Address>
void add_bytes(orv::tm::Tm_struct* out, const char* member, const char* const* names, const Address& bytes,
               bool copy_arrays, orv::tm::Tm_names_catalog* catalog) {
    auto nested = std::make_unique<orv::tm::Tm_prenamed_struct>();
    msgset::Record_writer members(nested.get(), names, copy_arrays, catalog);
    members.add(bytes.address);
    out->add_member_and_own(member, nested.release(), catalog);
}

}  // namespace

void ipAddress_t_to_struct(orv::tm::Tm_struct* out, const ipAddress_t* record, bool copyArrays,
                           orv::tm::Tm_names_catalog* catalog) {
    if (record->type == ipAddress_t::kV4) {
        add_bytes(out, kV4Member, Ipv4Address_t_names, record->v4, copyArrays, catalog);
    } else if (record->type == ipAddress_t::kV6) {
        add_bytes(out, kV6Member, Ipv6Address_t_names, record->v6, copyArrays, catalog);
    }
}

void ipAddress_t_from_struct(const orv::tm::Tm_struct* in, ipAddress_t* record) {
    if (in->get_member_index(kV4Member) >= 0) {
        Ipv4Address_s bytes;
        msgset::Members_reader(*in->get_member_struct(kV4Member), Ipv4Address_t_names).read(&bytes.address);
        record->type = ipAddress_t::kV4;
        record->v4 = bytes;
    } else if (in->get_member_index(kV6Member) >= 0) {
        Ipv6Address_s bytes;
        msgset::Members_reader(*in->get_member_struct(kV6Member), Ipv6Address_t_names).read(&bytes.address);
        record->type = ipAddress_t::kV6;
        record->v6 = bytes;
    }
}

}  // namespace iptvcd_1_bll
