// Message to bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "orv/tm/message.h"
#include "wire_shape_writer.h"
#include "wire_sink.h"

namespace orv::tm {

/// Writes the values of a message first, into a buffer of their own, because the shapes that they use are
/// known only afterwards but travel before them. Large byte fields are not copied into that buffer.
class Wire_writer : private Tm_visitor {
  public:
    explicit Wire_writer(const Message& message)
        : message_(message), shapes_(message.get_use_send_member_string()), out_(values_) {}
    std::vector<std::byte> write();

  private:
    /// Elements of an array that go into one stretch.
    struct Stretch {
        std::uint32_t shape_id;
        Tm_array::Segment elements;  // run.shape null: one by one
    };

    /// A byte field that belongs into the values.
    struct Field {
        std::size_t position;  ///< in the buffer
        std::size_t size;
        const std::byte* bytes;      ///< unless they are still to be written
        const Tm_row_writer* write;  ///< the rows to be written
        std::size_t row_size;
    };

    void visit_scalar(const Tm_scalar& value) override;
    void visit_string(std::string_view text) override;
    void visit_struct(const Tm_struct& value) override;
    void visit_array(const Tm_array& array) override;

    void write_members(const Tm_struct& value);
    void write_structs(const Tm_array& array);
    std::vector<Stretch> stretches_of(const Tm_array& array);
    void add_objects(std::vector<Stretch>& stretches, const Tm_array& array,
                     const Tm_array::Segment& segment);
    void write_run(const Tm_array::Segment& segment);
    void write_bytes(std::span<const std::byte> bytes);
    void write_size_of_bytes(std::size_t size);
    void write_head(Byte_sink& sink) const;
    std::size_t size_of_values() const;
    void append_values(std::vector<std::byte>& to) const;
    static void append_rows(const Field& field, std::vector<std::byte>& to);
    static void write_double(Byte_sink& sink, double value);
    void check_depth(int depth) const;

    const Message& message_;
    Wire_shape_writer shapes_;
    Byte_sink values_;
    std::vector<Field> fields_;
    msgpack::packer<Byte_sink> out_;
    int depth_ = 0;
};

}  // namespace orv::tm
