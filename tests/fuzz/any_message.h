// Messages of every kind, and what is wrong with some of their bytes, out of a fuzzer's bytes: plain bytes
// would hardly ever get beyond the envelope of a message.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <tuple>
#include <vector>

#include "fuzz/byte_reader.h"
#include "msgset/random_records.h"
#include "orv/tm/message.h"

namespace testing_aids {

/// The values that a message carries: those that its parser writes to.
template <class... Values>
struct Carried {
    std::tuple<Values...> values;

    void fill(unsigned seed) {
        msgset_test::Random_values random(seed);
        std::apply([&](Values&... each) { (random.fill(each), ...); }, values);
    }
    template <class Create>
    void create(Create create, orv::tm::Message* message) const {
        if constexpr (sizeof...(Values) == 0) {
            create(message);
        } else {
            std::apply([&](const Values&... each) { create(message, each..., true); }, values);
        }
    }
    void parse(void (*parse)(const orv::tm::Message*, Values*...), const orv::tm::Message& message) {
        std::apply([&](Values&... each) { parse(&message, &each...); }, values);
    }
};

/// Up to 15 changes of one byte each: where, as a 256th or a 65,536th of the length, and to what.
inline void ChangeBytes(std::vector<std::byte>& bytes, ByteReader& reader) {
    if (bytes.empty()) return;
    const unsigned how = reader.Take();
    for (unsigned left = how & 15; left > 0; --left) {
        const unsigned place = reader.Take() << 8 | reader.Take();
        bytes[(std::size_t{place} * bytes.size()) >> 16] = static_cast<std::byte>(reader.Take());
    }
    if ((how & 0x80) != 0) bytes.resize(bytes.size() * reader.Take() / 256);
}

/// Calls `visit(name, create, parse)` for one of all messages.
template <class Visit>
void VisitMessage(unsigned number, Visit visit) {
    unsigned count = 0, at = 0;
    msgset_test::for_each_message([&](const char*, auto, auto) { ++count; });
    msgset_test::for_each_message([&](const char* name, auto create, auto parse) {
        if (at++ == number % count) visit(name, create, parse);
    });
}

}  // namespace testing_aids
