// Structs: rows of tagged values with a table of member names.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "orv/tm/catalog.h"
#include "orv/tm/value.h"

namespace orv::tm {

using Tm_names_catalog = Tm_catalog<std::string>;

/// A struct whose members are looked up by name. Members keep the order in which they were added.
///
/// The by-name getters throw Tm_exception that names the member when it is missing, and a text with the kind
/// found and the kind asked for when it is of another kind. Pointers they return live as long as the struct.
class Tm_struct : public Tm_value {
  public:
    Tm_struct();
    ~Tm_struct() override;
    Tm_struct(const Tm_struct&) = delete;
    Tm_struct& operator=(const Tm_struct&) = delete;

    std::size_t size() const { return row_.size(); }
    virtual const char* member_name(std::size_t index) const;
    TMV member_kind(std::size_t index) const { return row_[index].scalar.kind; }
    /// The scalar or value at a position; the other one is null or of no meaning.
    const Tm_scalar& member_scalar(std::size_t index) const { return row_[index].scalar; }
    const Tm_value* member_value(std::size_t index) const { return row_[index].value.get(); }

    /// Adding a name that the struct already has throws Tm_exception. A catalog, when given, notes the name.
    void add_member(std::string_view name, bool value, Tm_names_catalog* catalog);
    void add_member(std::string_view name, std::uint32_t value, Tm_names_catalog* catalog);
    void add_member(std::string_view name, Tm_scalar value, Tm_names_catalog* catalog);
    /// Takes ownership of `value`, also when it throws. A null value throws Tm_exception.
    void add_member_and_own(std::string_view name, Tm_value* value, Tm_names_catalog* catalog);

    /// Position of a member, or -1. `hint`, where the caller expects it, makes the look-up one comparison.
    int get_member_index(std::string_view name, std::size_t hint = 0) const;

    bool get_member_bool(const char* name, std::size_t hint = 0) const;
    std::int8_t get_member_int8(const char* name, std::size_t hint = 0) const;
    std::uint8_t get_member_uint8(const char* name, std::size_t hint = 0) const;
    std::int16_t get_member_int16(const char* name, std::size_t hint = 0) const;
    std::uint16_t get_member_uint16(const char* name, std::size_t hint = 0) const;
    std::int32_t get_member_int32(const char* name, std::size_t hint = 0) const;
    std::uint32_t get_member_uint32(const char* name, std::size_t hint = 0) const;
    std::int64_t get_member_int64(const char* name, std::size_t hint = 0) const;
    std::uint64_t get_member_uint64(const char* name, std::size_t hint = 0) const;
    double get_member_double(const char* name, std::size_t hint = 0) const;
    const char* get_member_string(const char* name, std::size_t hint = 0) const;
    const Tm_struct* get_member_struct(const char* name, std::size_t hint = 0) const;
    const Tm_array* get_member_array(const char* name, std::size_t hint = 0) const;

    TMV kind() const override { return TMV_STRUCT; }
    std::unique_ptr<Tm_value> clone() const override;
    void accept(Tm_visitor&) const override;

  protected:
    struct Slot {
        Tm_scalar scalar;                 ///< its kind is the member's kind, whatever that is
        std::unique_ptr<Tm_value> value;  ///< string, struct and array members
    };

    void append(Tm_scalar value);
    void append_and_own(std::unique_ptr<Tm_value> value);
    void reserve_row(std::size_t count) { row_.reserve(count); }
    void clear_row() { row_.clear(); }
    /// Appends copies of all values of another struct.
    void append_copies(const Tm_struct& source);
    /// Throws Tm_exception when the struct's names come from a table, so that none can be added.
    virtual void check_takes_names() const {}

  private:
    friend class Wire_reader;
    void note_name(std::string_view name, Tm_names_catalog* catalog);
    const Slot& find(const char* name, std::size_t hint, TMV kind) const;

    std::vector<Slot> row_;
    std::vector<std::string> own_names_;  ///< empty in subclasses that get their names elsewhere
};

/// A struct whose member names come from a static table that ends with a null entry. Members are added by
/// their position in the table, in ascending order without gaps; another position throws Tm_exception.
class Tm_prenamed_struct : public Tm_struct {
  public:
    Tm_prenamed_struct();
    ~Tm_prenamed_struct() override;

    /// Empties the struct and binds it to a table, which must outlive it.
    void clear(const char* const* names);

    const char* member_name(std::size_t index) const override { return names_[index]; }

    void add_member(int index, bool value, Tm_names_catalog* catalog);
    void add_member(int index, const char* value, Tm_names_catalog* catalog);
    void add_member(int index, const std::string& value, Tm_names_catalog* catalog);
    void add_member(int index, short value, Tm_names_catalog* catalog);           // NOLINT: int16
    void add_member(int index, int value, Tm_names_catalog* catalog);             // int32
    void add_member(int index, long value, Tm_names_catalog* catalog);            // NOLINT: int64
    void add_member(int index, unsigned char value, Tm_names_catalog* catalog);   // uint8
    void add_member(int index, unsigned short value, Tm_names_catalog* catalog);  // NOLINT: uint16
    void add_member(int index, unsigned int value, Tm_names_catalog* catalog);    // uint32
    void add_member(int index, unsigned long value, Tm_names_catalog* catalog);   // NOLINT: uint64
    /// Takes ownership of `value`, also when it throws.
    void add_member_and_own(int index, Tm_value* value, Tm_names_catalog* catalog);

    std::unique_ptr<Tm_value> clone() const override;

  protected:
    void check_takes_names() const override;

  private:
    /// Throws unless `index` is the next one of the table; then notes its name.
    void check_next(int index, Tm_names_catalog* catalog) const;
    template <class T>
    void add_scalar(int index, T value, Tm_names_catalog* catalog);

    const char* const* names_;
};

}  // namespace orv::tm
