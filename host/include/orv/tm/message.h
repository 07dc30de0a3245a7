// One message between the host and a port.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "orv/tm/array.h"
#include "orv/tm/struct.h"

namespace orv::tm {

class Tm_header {
  public:
    std::uint32_t get_seq_no() const { return seq_no_; }
    void set_seq_no(std::uint32_t seq_no) { seq_no_ = seq_no; }
    /// A discard-eligible message may be dropped on the way when the receiver cannot keep up.
    bool get_discard_eligible() const { return discard_eligible_; }
    void set_discard_eligible(bool eligible) { discard_eligible_ = eligible; }

  private:
    std::uint32_t seq_no_ = 0;
    bool discard_eligible_ = false;
};

/// A request, response or fault: header, name and two groups of members.
///
/// Not thread-safe: a message belongs to one thread at a time. Getters throw as those of Tm_struct do.
class Message {
  public:
    Message();
    ~Message();
    /// A message that was moved from can only be assigned to or destroyed.
    Message(Message&&) noexcept;
    Message& operator=(Message&&) noexcept;

    /// Empties a member group, its catalog included.
    void clear(TMG group);

    void set_msg_type(TMT type) { type_ = type; }
    TMT get_msg_type() const { return type_; }
    /// Message set, a dot, operation: "iptvcd_1.UpdateSettopBlock".
    void set_request_name(const std::string& name) { request_name_ = name; }
    const std::string& get_request_name() const { return request_name_; }

    Tm_header& header() { return header_; }
    const Tm_header& header() const { return header_; }

    void set_fault(int code, const std::string& text);
    int get_fault_code() const { return fault_code_; }
    const std::string& get_fault_string() const { return fault_string_; }

    void add_member(TMG group, const std::string& name, unsigned int value);
    /// Takes ownership of `value`, also when it throws.
    void add_member_and_own(TMG group, const std::string& name, Tm_value* value);

    const Tm_struct& members(TMG group) const;
    bool get_member_bool(TMG group, const char* name) const;
    std::uint8_t get_member_uint8(TMG group, const char* name) const;
    std::uint16_t get_member_uint16(TMG group, const char* name) const;
    std::uint32_t get_member_uint32(TMG group, const char* name) const;
    std::int32_t get_member_int32(TMG group, const char* name) const;
    std::uint64_t get_member_uint64(TMG group, const char* name) const;
    const char* get_member_string(TMG group, const char* name) const;
    const Tm_struct* get_member_struct(TMG group, const char* name) const;
    const Tm_array* get_member_array(TMG group, const char* name) const;

    /// The group's table of member names. It is off, and stays empty, unless switched on for the message.
    Tm_names_catalog* get_send_member_string(TMG group);
    const Tm_names_catalog& catalog(TMG group) const;
    void set_use_send_member_string(bool use);
    bool get_use_send_member_string() const { return use_catalog_; }
    /// Finishes a message after its last member: the top-level names of both groups are noted.
    void create_send_member_string_meta();

    /// The message as bytes; see docs/wire-format.md. Throws Tm_exception for what the form cannot carry
    /// (a string of over 64 MiB or with a zero byte, a member name of over kMaxNameLength bytes, values
    /// nested deeper than kMaxDepth, a message of over 1 GiB).
    std::vector<std::byte> encode() const;

    /// Reads a message. Any malformed input ends in Tm_exception; memory used is bounded by a small multiple
    /// of the input. The message keeps the bytes: packed structs and simple arrays are read in place.
    static Message decode(std::vector<std::byte> bytes);
    static Message decode(std::span<const std::byte> bytes);

    /// Deepest nesting of structs and arrays that is read or written.
    static constexpr int kMaxDepth = 32;
    /// Longest member name, in bytes.
    static constexpr std::size_t kMaxNameLength = 128;

  private:
    friend class Wire_reader;
    friend class Wire_writer;
    struct Group;
    Group& group(TMG which);
    const Group& group(TMG which) const;

    TMT type_ = TMT_REQUEST;
    Tm_header header_;
    std::string request_name_;
    int fault_code_ = 0;
    std::string fault_string_;
    bool use_catalog_ = false;
    std::vector<std::byte> bytes_;  ///< what the groups of a decoded message refer to; declared before them
    std::unique_ptr<Group> groups_[kGroupCount];
};

}  // namespace orv::tm
