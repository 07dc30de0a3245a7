#include <stdexcept>

#include "fuzz/any_message.h"
#include "fuzz/checks.h"

namespace testing_aids {

using namespace orv::tm;  // NOLINT

namespace {

template <class Create, class... Values>
bool check_parser(ByteReader& reader, Create create, void (*parse)(const Message*, Values*...)) {
    Carried<Values...> carried;
    carried.fill(reader.Take());
    Message message;
    carried.create(create, &message);
    std::vector<std::byte> bytes = message.encode();
    ChangeBytes(bytes, reader);
    Carried<Values...> received, again;
    try {
        received.parse(parse, Message::decode(bytes));
    } catch (const Tm_exception&) {
        return false;
    }
    // What a parser accepts can be sent on.
    Message second;
    received.create(create, &second);
    again.parse(parse, Message::decode(second.encode()));
    if (!(again.values == received.values)) throw std::logic_error("what was read is sent as something else");
    return true;
}

}  // namespace

bool check_parser_bytes(std::span<const std::byte> bytes) {
    ByteReader reader(bytes);
    bool is_accepted = false;
    VisitMessage(reader.Take(), [&](const char*, auto create, auto parse) {
        is_accepted = check_parser(reader, create, parse);
    });
    return is_accepted;
}

}  // namespace testing_aids
