// Bytes to message.
#pragma once

#include <memory>

#include "orv/tm/message.h"
#include "wire_shape_reader.h"
#include "wire_tokens.h"

namespace orv::tm {

/// Fills a message from the bytes that it keeps. Packed runs and simple arrays refer to those bytes.
class Wire_reader {
  public:
    explicit Wire_reader(Message& message) : message_(message), tokens_(message.bytes_), shapes_(tokens_) {}
    void read();

  private:
    void read_head();
    void read_group(TMG group);
    void read_row(Tm_struct& into, const Wire_shape_reader::Shape& shape, int depth);
    Tm_scalar read_scalar(TMV kind, const std::string& name);
    std::unique_ptr<Tm_value> read_value(TMV kind, int depth);
    std::unique_ptr<Tm_struct> read_struct(int depth);
    std::unique_ptr<Tm_array> read_array(int depth);
    std::unique_ptr<Tm_array> read_simple_array(TMV kind);
    void read_segment(Tm_array& into, int depth);
    void read_run(Tm_array& into, std::size_t shape_id, std::size_t count, int depth);
    void read_objects(Tm_array& into, std::size_t shape_id, std::size_t count, int depth);
    void check_depth(int depth) const;

    Message& message_;
    Wire_tokens tokens_;
    Wire_shape_reader shapes_;
};

}  // namespace orv::tm
