#include "fuzz/checks.h"

#include <stdexcept>

#include "tm/message_text.h"

namespace testing_aids {
using namespace orv::tm;  // NOLINT
using orv::tm::testing::text_of;

bool check_message_bytes(std::span<const std::byte> bytes) {
    Message first;
    try {
        first = Message::decode(bytes);
    } catch (const Tm_exception&) {
        return false;
    }
    const std::string text = text_of(first);
    const std::vector<std::byte> encoded = first.encode();
    const Message second = Message::decode(encoded);
    if (text_of(second) != text) throw std::logic_error("the message reads differently after another round");
    if (second.encode() != encoded) throw std::logic_error("the bytes differ after another round");
    if (text_of(*first.members(TMG_MEMBERS).clone()) != text_of(second.members(TMG_MEMBERS)))
        throw std::logic_error("a copy reads differently");
    return true;
}

}  // namespace testing_aids
