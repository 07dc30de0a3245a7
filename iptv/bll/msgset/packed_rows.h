// Arrays of event records as packed rows: the hot path of result notifications.
// A row holds the simple members in order, then the bytes of the record's one IP address, whose length
// depends on its type (orv/tm/flat_shape.h has the layout). So there is one shape per type of address, and
// simple members have the same offset in all of them. Records of other shapes, or sent as structs, are read
// by name with the same result.
// `Row`, the description of a record, has
//   Record                      the record
//   address                     pointer to its member of type ipAddress_t
//   decode                      its decoder, which reads by name
//   shapes()                    its Row_shapes
//   store(record, Row_out)      puts all simple members in order
//   load(Row_in, record*)       gets them in the same order
#pragma once

#include <algorithm>
#include <bit>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "msgset/ip_address.h"
#include "msgset/msgset_support.h"
#include "msgset/packed_records.h"
#include "orv/tm/flat_shape.h"

namespace orv::msgset {

using iptvcd_1_bll::ipAddress_t;

static_assert(std::endian::native == std::endian::little,
              "rows are little-endian and are copied byte for byte");

/// Writes simple members to consecutive positions of a row.
class Row_out {
  public:
    explicit Row_out(std::byte* row) : next_(row) {}
    template <class Simple>
    void put(Simple value) {
        std::memcpy(next_, &value, sizeof(value));
        next_ += sizeof(value);
    }

  private:
    std::byte* next_;
};

/// Reads simple members from consecutive positions of a row.
class Row_in {
  public:
    explicit Row_in(const std::byte* row) : next_(row) {}
    template <class Simple>
    void get(Simple* value) {
        std::memcpy(value, next_, sizeof(*value));
        next_ += sizeof(*value);
    }
    /// Any byte but 0 is true: rows come from a peer.
    void get(bool* value) { *value = *next_++ != std::byte{0}; }

  private:
    const std::byte* next_;
};

/// The shapes of one record: one for each type of address, and one without address.
class Row_shapes {
  public:
    static constexpr std::uint32_t kNoAddress = ipAddress_t::kV6 + 1;

    /// `kinds` runs parallel to `names`; TMV_STRUCT stands for the address.
    Row_shapes(const char* const* names, std::initializer_list<tm::TMV> kinds);

    const std::shared_ptr<const tm::Tm_flat_shape>& of(std::uint32_t address_type) const {
        return shapes_[address_type];
    }
    /// Address type of a shape, when it is one of these.
    std::optional<std::uint32_t> address_type_of(const std::shared_ptr<const tm::Tm_flat_shape>& shape) const;

  private:
    std::shared_ptr<const tm::Tm_flat_shape> shapes_[kNoAddress + 1];
};

inline std::uint32_t row_address_type(const ipAddress_t& address) {
    return std::min(address.type, Row_shapes::kNoAddress);
}

template <class Row, std::uint32_t AddressType>
void store_rows(const typename Row::Record* records, std::size_t count, std::byte* rows) {
    const tm::Tm_flat_shape& shape = *Row::shapes().of(AddressType);
    const std::size_t row_size = shape.row_size();
    const std::size_t simple_size = shape.simple_size();
    for (std::size_t i = 0; i < count; ++i, rows += row_size) {
        Row::store(records[i], Row_out(rows));
        std::memcpy(rows + simple_size, (records[i].*Row::address).v6.address,
                    ipAddress_t::length_of(AddressType));
    }
}

/// For any type of address, as row_address_type() has it.
template <class Row>
void store_rows(std::uint32_t address_type, const typename Row::Record* records, std::size_t count,
                std::byte* rows) {
    switch (address_type) {
        case ipAddress_t::kV4:
            return store_rows<Row, ipAddress_t::kV4>(records, count, rows);
        case ipAddress_t::kV6:
            return store_rows<Row, ipAddress_t::kV6>(records, count, rows);
        default:
            return store_rows<Row, Row_shapes::kNoAddress>(records, count, rows);
    }
}

template <class Row, std::uint32_t AddressType>
void load_rows(const std::byte* rows, std::size_t count, typename Row::Record* records) {
    const tm::Tm_flat_shape& shape = *Row::shapes().of(AddressType);
    const std::size_t row_size = shape.row_size();
    const std::size_t simple_size = shape.simple_size();
    for (std::size_t i = 0; i < count; ++i, rows += row_size) {
        Row::load(Row_in(rows), &records[i]);
        ipAddress_t& address = records[i].*Row::address;
        address = {};  // of the record that was decoded into this memory before
        if constexpr (AddressType != Row_shapes::kNoAddress) {
            address.type = AddressType;
            std::memcpy(address.v6.address, rows + simple_size, ipAddress_t::length_of(AddressType));
        }
    }
}

/// The function that loads rows of a shape; null for a shape that is not one of the record's.
template <class Row>
typename Packed_records<typename Row::Record>::Load find_load(
    const std::shared_ptr<const tm::Tm_flat_shape>& shape) {
    const std::optional<std::uint32_t> type = Row::shapes().address_type_of(shape);
    if (!type) return nullptr;
    switch (*type) {
        case ipAddress_t::kV4:
            return load_rows<Row, ipAddress_t::kV4>;
        case ipAddress_t::kV6:
            return load_rows<Row, ipAddress_t::kV6>;
        default:
            return load_rows<Row, Row_shapes::kNoAddress>;
    }
}

/// Structs, or rows of a shape that is not one of the record's, read by name.
template <class Row, class Record>
void decode_segment(const tm::Tm_array& array, const tm::Tm_array::Segment& segment,
                    std::vector<Record>* records) {
    for (std::size_t i = 0; i < segment.count; ++i)
        Row::decode(array.get_member_struct(array_count(segment.first + i)), &records->emplace_back());
}

template <class Row, class Record>
std::unique_ptr<tm::Tm_value> pack_rows(const std::vector<Record>& records, bool copy) {
    auto array = std::make_unique<tm::Tm_array>();
    for (std::size_t first = 0, last = 0; first < records.size(); first = last) {
        const std::uint32_t type = row_address_type(records[first].*Row::address);
        while (last < records.size() && row_address_type(records[last].*Row::address) == type) ++last;
        const auto& shape = Row::shapes().of(type);
        const Record* const run = &records[first];
        if (copy) {
            store_rows<Row>(type, run, last - first, array->append_rows(shape, last - first));
        } else {
            array->append_written_run(shape, last - first,
                                      [run, type](std::size_t from, std::size_t count, std::byte* rows) {
                                          store_rows<Row>(type, run + from, count, rows);
                                      });
        }
    }
    return array;
}

template <class Row, class Record>
void unpack_rows(const tm::Tm_array& array, std::vector<Record>* records) {
    const auto segments = array.segments();
    // All rows of a known shape are in the message, so memory for all is reserved at once; other arrays grow
    // as they are read.
    std::size_t known = 0;
    for (const auto& segment : segments) known += find_load<Row>(segment.run.shape) ? segment.count : 0;
    records->clear();
    records->reserve(known);
    for (const tm::Tm_array::Segment& segment : segments) {
        if (const auto load = find_load<Row>(segment.run.shape)) {
            records->resize(segment.first + segment.count);
            load(segment.run.rows, segment.count, records->data() + segment.first);
        } else {
            decode_segment<Row>(array, segment, records);
        }
    }
}

template <class Row, class Record>
void list_rows(const tm::Tm_array& array, Packed_records<Record>* records) {
    *records = {};
    for (const tm::Tm_array::Segment& segment : array.segments()) {
        if (const auto load = find_load<Row>(segment.run.shape)) {
            records->add_rows(segment.run.rows, segment.run.shape->row_size(), segment.count, load);
        } else {
            std::vector<Record> decoded;
            decode_segment<Row>(array, segment, &decoded);
            records->add_decoded(std::move(decoded));
        }
    }
}

}  // namespace orv::msgset
