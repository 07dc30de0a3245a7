// Building blocks of the generated encoders and decoders of the message sets.
// A generated function lists the members of one record or message in order; these classes encode and decode
// members of each kind. Not thread-safe, like the messages they write and read. A malformed message causes a
// Tm_exception.
#pragma once

#include <algorithm>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "msgset/packed_records.h"
#include "orv/tm/array.h"
#include "orv/tm/backed_array.h"
#include "orv/tm/enum_map.h"
#include "orv/tm/exceptions.h"
#include "orv/tm/message.h"
#include "orv/tm/struct.h"

namespace orv::msgset {

/// Encoder of a record. `Struct` is Tm_prenamed_struct, except for records that choose their member names.
template <class Struct, class Record>
using Encoder = void (*)(Struct* out, const Record* record, bool copy_arrays, tm::Tm_names_catalog* catalog);
template <class Record>
using Decoder = void (*)(const tm::Tm_struct* in, Record* record);

/// An element count as the int that arrays take. Throws Tm_exception above INT_MAX.
int array_count(std::size_t size);

/// Converts the records of an array to packed rows and back. Defined in packed_rows.h, which also explains
/// `Row`. `copy` false: the rows are written when they are needed, and the records outlive the array.
template <class Row, class Record>
std::unique_ptr<tm::Tm_value> pack_rows(const std::vector<Record>& records, bool copy);
template <class Row, class Record>
void unpack_rows(const tm::Tm_array& array, std::vector<Record>* records);
/// The same without decoding the rows.
template <class Row, class Record>
void list_rows(const tm::Tm_array& array, Packed_records<Record>* records);

/// Copies all elements of an array of a simple kind. Throws Tm_type_mismatch_exception for another kind.
template <class Simple>
void copy_simple(const tm::Tm_array& array, Simple* to) {
    const auto bytes = array.simple_bytes(tm::kind_of<Simple>);
    if (!bytes.empty()) {
        std::memcpy(to, bytes.data(), bytes.size());
        return;
    }
    struct Taker : tm::Tm_visitor {
        explicit Taker(Simple* first) : next(first) {}
        void visit_scalar(const tm::Tm_scalar& scalar) override { *next++ = scalar.as<Simple>(); }
        Simple* next;
    } taker(to);
    const int count = array_count(array.size());
    for (int i = 0; i < count; ++i) array.accept_element(i, taker);
}

/// Destination of a record's members: the next position of its table.
class Record_target {
  public:
    Record_target(tm::Tm_prenamed_struct* out, const char* const* names, tm::Tm_names_catalog* catalog)
        : out_(out), catalog_(catalog) {
        out->clear(names);
    }
    template <class Simple>
    void put(const Simple& value) {
        out_->add_member(next_++, value, catalog_);
    }
    void put_own(std::unique_ptr<tm::Tm_value> value) {
        out_->add_member_and_own(next_++, value.release(), catalog_);
    }
    tm::Tm_names_catalog* catalog() const { return catalog_; }

  private:
    tm::Tm_prenamed_struct* out_;
    tm::Tm_names_catalog* catalog_;
    int next_ = 0;
};

/// Destination of a message's members: group 1, under the next name of the list.
class Message_target {
  public:
    Message_target(tm::Message* out, const char* const* names) : out_(out), next_(names) {}
    void put(std::uint32_t value) { out_->add_member(tm::TMG_MEMBERS, *next_++, value); }
    template <class Simple>
    void put(const Simple& value) {
        put_own(std::make_unique<tm::Tm_simple>(tm::Tm_scalar::of(value)));
    }
    void put(const std::string& value) { put_own(std::make_unique<tm::Tm_string>(value)); }
    void put(const char* value) { put(std::string(value)); }
    void put_own(std::unique_ptr<tm::Tm_value> value) {
        out_->add_member_and_own(tm::TMG_MEMBERS, *next_++, value.release());
    }
    tm::Tm_names_catalog* catalog() const { return out_->get_send_member_string(tm::TMG_MEMBERS); }

  private:
    tm::Message* out_;
    const char* const* next_;
};

/// Adds members in order.
template <class Target>
class Members_writer {
  public:
    /// `copy_arrays` false: arrays of simple kinds, and of records as packed rows, refer to the vectors
    /// given, which must then outlive the message.
    Members_writer(Target target, bool copy_arrays) : target_(std::move(target)), copy_arrays_(copy_arrays) {}

    template <class Simple>
    void add(const Simple& value) {
        target_.put(value);
    }
    template <class Simple>
    void add(const std::vector<Simple>& values) {
        add_simple_array(values.begin(), values.size());
    }
    template <class Simple, std::size_t N>
    void add(const Simple (&values)[N]) {
        add_simple_array(static_cast<const Simple*>(values), N);
    }

    template <class Enum>
    void add_enum(Enum value, const tm::tm_enum_map* map) {
        target_.put(tm::tms_enum_to_string(static_cast<int>(value), map));
    }
    template <class Enum>
    void add_enums(const std::vector<Enum>& values, const tm::tm_enum_map* map) {
        auto array = std::make_unique<tm::Tm_array>();
        array->reserve(values.size());
        for (Enum value : values) {
            array->add_member_and_own(
                new tm::Tm_string(tm::tms_enum_to_string(static_cast<int>(value), map)));
        }
        target_.put_own(std::move(array));
    }

    template <class Record, class Struct>
    void add_record(const Record& record, Encoder<Struct, Record> encode) {
        target_.put_own(encoded(record, encode));
    }
    template <class Record, class Struct>
    void add_records(const std::vector<Record>& records, Encoder<Struct, Record> encode) {
        auto array = std::make_unique<tm::Tm_array>();
        array->reserve(records.size());
        for (const Record& record : records) array->add_member_and_own(encoded(record, encode).release());
        target_.put_own(std::move(array));
    }
    /// Adds an optional record: zero or one element. If there are more, adds nothing and returns false; the
    /// record then ends before this member.
    template <class Record, class Struct>
    [[nodiscard]] bool add_optional(const std::vector<Record>& records, Encoder<Struct, Record> encode) {
        if (records.size() > 1) return false;
        add_records(records, encode);
        return true;
    }
    /// Records as packed rows; `Row` describes them (packed_rows.h).
    template <class Row, class Record>
    void add_rows(const std::vector<Record>& records) {
        target_.put_own(pack_rows<Row>(records, copy_arrays_));
    }

  private:
    template <class Iterator>
    void add_simple_array(Iterator first, std::size_t size) {
        using Simple = typename std::iterator_traits<Iterator>::value_type;
        const int count = array_count(size);
        if (copy_arrays_) {
            target_.put_own(std::make_unique<tm::Tm_copy_backed_array<Simple, Iterator>>(
                first, count, tm::kind_of<Simple>));
        } else {
            target_.put_own(
                std::make_unique<tm::Tm_backed_array<Iterator>>(first, count, tm::kind_of<Simple>));
        }
    }
    template <class Record, class Struct>
    std::unique_ptr<Struct> encoded(const Record& record, Encoder<Struct, Record> encode) {
        auto out = std::make_unique<Struct>();
        encode(out.get(), &record, copy_arrays_, target_.catalog());
        return out;
    }

    Target target_;
    bool copy_arrays_;
};

class Record_writer : public Members_writer<Record_target> {
  public:
    Record_writer(tm::Tm_prenamed_struct* out, const char* const* names, bool copy_arrays,
                  tm::Tm_names_catalog* catalog)
        : Members_writer(Record_target(out, names, catalog), copy_arrays) {}
};

class Message_writer : public Members_writer<Message_target> {
  public:
    Message_writer(tm::Message* out, const char* const* names, bool copy_arrays)
        : Members_writer(Message_target(out, names), copy_arrays) {}
};

/// Most elements to reserve memory for before reading the first. A peer may declare any number of one-byte
/// elements whose records take hundreds of bytes each; beyond this limit memory grows with the elements read.
inline constexpr std::size_t kReserveAtOnce = 1024;

/// Reads members by name in the expected order, so that finding one costs one comparison. Every read throws a
/// Tm_exception that names the member if it is missing or of another kind. Output vectors are cleared first.
class Members_reader {
  public:
    /// `names`: the names of the members to read, in order.
    Members_reader(const tm::Tm_struct& in, const char* const* names) : in_(in), names_(names) {}

    void read(bool* value);
    void read(std::uint8_t* value);
    void read(std::uint16_t* value);
    void read(std::uint32_t* value);
    void read(std::uint64_t* value);
    void read(std::int16_t* value);
    void read(std::int32_t* value);
    void read(std::int64_t* value);
    void read(std::string* value);
    template <class Simple>
    void read(std::vector<Simple>* values) {
        const tm::Tm_array& array = next_array(tm::kind_of<Simple>);
        values->resize(array.size());
        copy_simple(array, values->data());
    }
    /// Throws Tm_exception unless there are exactly N elements.
    template <class Simple, std::size_t N>
    void read(Simple (*values)[N]) {
        const tm::Tm_array& array = next_array(tm::kind_of<Simple>);
        check_length(array, N);
        copy_simple(array, static_cast<Simple*>(*values));
    }

    template <class Enum>
    void read_enum(Enum* value, const tm::tm_enum_map* map) {
        *value = static_cast<Enum>(next_enum(map));
    }
    template <class Enum>
    void read_enums(std::vector<Enum>* values, const tm::tm_enum_map* map) {
        const tm::Tm_array& array = next_array(tm::TMV_STRING);
        const int count = array_count(array.size());
        values->clear();
        values->reserve(std::min(array.size(), kReserveAtOnce));
        for (int i = 0; i < count; ++i)
            values->push_back(static_cast<Enum>(enum_value(array.get_member_string(i), map)));
    }

    template <class Record>
    void read_record(Record* record, Decoder<Record> decode) {
        decode(next_struct(), record);
    }
    template <class Record>
    void read_records(std::vector<Record>* records, std::type_identity_t<Decoder<Record>> decode) {
        const tm::Tm_array& array = next_array(tm::TMV_STRUCT);
        const int count = array_count(array.size());
        records->clear();
        records->reserve(std::min(array.size(), kReserveAtOnce));
        for (int i = 0; i < count; ++i) decode(array.get_member_struct(i), &records->emplace_back());
    }
    /// Zero or one record; throws Tm_exception if there are more.
    template <class Record>
    void read_optional(std::vector<Record>* records, Decoder<Record> decode) {
        read_records(records, decode);
        check_optional(records->size());
    }
    /// Records that were sent as packed rows or as structs; `Row` describes them (packed_rows.h).
    template <class Row, class Record>
    void read_rows(std::vector<Record>* records) {
        unpack_rows<Row>(next_array(tm::TMV_STRUCT), records);
    }
    template <class Row, class Record>
    void read_rows(Packed_records<Record>* records) {
        list_rows<Row>(next_array(tm::TMV_STRUCT), records);
    }

  private:
    const tm::Tm_struct* next_struct();
    /// The next member: an array of `kind`, or an empty array.
    const tm::Tm_array& next_array(tm::TMV kind);
    int next_enum(const tm::tm_enum_map* map);
    /// Value of an enumeration name. The member read last is named in the error.
    int enum_value(const char* text, const tm::tm_enum_map* map) const;
    void check_length(const tm::Tm_array& array, std::size_t length) const;
    void check_optional(std::size_t count) const;
    template <class Value>
    Value take(Value (tm::Tm_struct::*get)(const char* name, std::size_t hint) const) {
        const std::size_t position = next_++;
        return (in_.*get)(names_[position], position);
    }
    const char* last_name() const { return names_[next_ - 1]; }

    const tm::Tm_struct& in_;
    const char* const* names_;
    std::size_t next_ = 0;
};

/// Request name of a set whose requests are named by the set that offers them.
inline constexpr const char* kUnnamed = nullptr;

/// Turns the message into a request without members. A null `name` keeps its name.
void begin_request(tm::Message* message, const char* name);
void begin_response(tm::Message* message);
/// Completes a message after its last member.
void finish(tm::Message* message);

/// Throws Tm_type_mismatch_exception(found, request) if the message is not a request, and Tm_exception if
/// `name` is not null and differs from its name.
void check_request(const tm::Message& message, const char* name);
/// Throws Tm_type_mismatch_exception(found, response) if the message is not a response.
void check_response(const tm::Message& message);
const tm::Tm_struct& members_of(const tm::Message& message);

}  // namespace orv::msgset
