#include "tm/message_text.h"

#include <bit>

namespace orv::tm::testing {
namespace {

struct Text_visitor : Tm_visitor {
    std::string text;

    void visit_scalar(const Tm_scalar& value) override {
        text += name_of(value.kind);
        text += ' ';
        if (value.kind == TMV_DOUBLE) {
            text += std::to_string(std::bit_cast<std::uint64_t>(value.d));
        } else if (value.kind == TMV_BOOL) {
            text += value.b ? "true" : "false";
        } else {
            const bool is_signed = value.kind == TMV_INT8 || value.kind == TMV_INT16 ||
                                   value.kind == TMV_INT32 || value.kind == TMV_INT64;
            text += is_signed ? std::to_string(value.i) : std::to_string(value.u);
        }
    }
    void visit_string(std::string_view value) override { text.append("\"").append(value).append("\""); }
    void visit_struct(const Tm_struct& value) override {
        text += '{';
        for (std::size_t i = 0; i < value.size(); ++i) {
            text.append(value.member_name(i)).append(": ");
            if (value.member_value(i) != nullptr) {
                value.member_value(i)->accept(*this);
            } else {
                visit_scalar(value.member_scalar(i));
            }
            text += "; ";
        }
        text += "}\n";
    }
    void visit_array(const Tm_array& value) override {
        text.append("array of ").append(name_of(value.element_kind())).append(" [");
        for (std::size_t i = 0; i < value.size(); ++i) {
            value.accept_element(static_cast<int>(i), *this);
            text += ", ";
        }
        text += ']';
    }
};

}  // namespace

std::string text_of(const Tm_value& value) {
    Text_visitor visitor;
    value.accept(visitor);
    return visitor.text;
}

std::string text_of(const Message& message) {
    std::string text = name_of(message.get_msg_type());
    text += " " + message.get_request_name() + " #" + std::to_string(message.header().get_seq_no());
    if (message.header().get_discard_eligible()) text += " discard-eligible";
    text += " fault " + std::to_string(message.get_fault_code()) + " " + message.get_fault_string() + "\n";
    if (message.get_use_send_member_string()) text += "with catalog\n";
    return text + text_of(message.members(TMG_RESERVED)) + text_of(message.members(TMG_MEMBERS));
}

}  // namespace orv::tm::testing
