// Random trees survive the wire, whatever they are made of.
#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <cstring>
#include <deque>

#include "orv/tm/backed_array.h"
#include "tm/message_text.h"
#include "tm/sample_messages.h"

namespace orv::tm {
namespace {

using testing::text_of;

/// A choice between 0 and below - 1, all equally likely from the first case on.
const auto pick = [](int below) { return *rc::gen::resize(rc::kNominalSize, rc::gen::inRange(0, below)); };

/// Draws values from RapidCheck. Keeps the memory that backed arrays and borrowed runs refer to.
struct Tree_source {
    explicit Tree_source(Tm_names_catalog* catalog) : catalog_(catalog) {}

    template <class T>
    static Tm_scalar arbitrary() {
        return Tm_scalar::of(*rc::gen::arbitrary<T>());
    }
    /// Of a kind that is simple.
    static Tm_scalar scalar(TMV kind) {
        static constexpr Tm_scalar (*kMakers[])() = {arbitrary<std::int8_t>,  arbitrary<std::uint8_t>,
                                                     arbitrary<std::int16_t>, arbitrary<std::uint16_t>,
                                                     arbitrary<std::int32_t>, arbitrary<std::uint32_t>,
                                                     arbitrary<std::int64_t>, arbitrary<std::uint64_t>,
                                                     arbitrary<double>,       arbitrary<bool>};
        return kMakers[kind]();
    }

    std::unique_ptr<Tm_value> value(int depth) {
        const int sort = pick(depth <= 0 ? 2 : 4);
        if (sort == 0) return std::make_unique<Tm_simple>(scalar(static_cast<TMV>(pick(10))));
        if (sort == 1) return std::make_unique<Tm_string>(text());
        if (sort == 2) return structure(depth - 1);
        return array(depth - 1);
    }

    std::unique_ptr<Tm_struct> structure(int depth) {
        auto result = std::make_unique<Tm_struct>();
        for (const char* name :
             {"alpha", "beta", "gamma", "", "a longer name than the others, with blanks"}) {
            if (pick(2) == 0) result->add_member_and_own(name, value(depth).release(), catalog_);
        }
        return result;
    }

    std::unique_ptr<Tm_array> array(int depth) {
        const int count = pick(4);
        auto result = std::make_unique<Tm_array>();
        const auto kind = static_cast<TMV>(pick(10));
        const int sort = pick(6);
        if (sort == 0) return backed(kind, count);
        for (int i = 0; i < count; ++i) {
            if (sort == 1) result->add_member(scalar(kind));
            if (sort == 2) result->add_member_and_own(new Tm_string(text()));
            if (sort == 3) result->add_member_and_own(array(depth - 1).release());
            if (sort > 3) add_structs(*result, depth - 1);
        }
        return result;
    }

  private:
    std::string text() { return *rc::gen::container<std::string>(rc::gen::inRange(' ', '~')); }

    std::byte* random_bytes(std::size_t count) {
        std::vector<std::byte>& kept = kept_.emplace_back(count);
        for (std::byte& byte : kept) byte = static_cast<std::byte>(pick(256));
        return kept.data();
    }

    std::unique_ptr<Tm_array> backed(TMV kind, int count) {
        const std::byte* bytes = random_bytes(static_cast<std::size_t>(count) * width_of(kind));
        if (width_of(kind) == 1) return backed<std::uint8_t>(bytes, count, kind);
        if (width_of(kind) == 2) return backed<std::uint16_t>(bytes, count, kind);
        if (width_of(kind) == 4) return backed<std::uint32_t>(bytes, count, kind);
        return backed<std::uint64_t>(bytes, count, kind);
    }
    template <class T>
    static std::unique_ptr<Tm_array> backed(const std::byte* bytes, int count, TMV kind) {
        const T* first = reinterpret_cast<const T*>(bytes);
        if (pick(2) == 0) return std::make_unique<Tm_backed_array<const T*>>(first, count, kind);
        return std::make_unique<Tm_copy_backed_array<T, const T*>>(first, count, kind);
    }

    void add_structs(Tm_array& to, int depth) {
        if (pick(3) == 0) return to.add_member_and_own(structure(depth).release());
        const auto shape = flat_shape(2);
        const auto count = static_cast<std::size_t>(pick(3));
        const std::byte* rows = random_bytes(count * shape->row_size());
        if (pick(2) == 0) return to.append_borrowed_run({shape, rows, count});
        std::byte* room = to.append_rows(shape, count);
        if (count * shape->row_size() > 0) std::memcpy(room, rows, count * shape->row_size());
    }

    std::shared_ptr<const Tm_flat_shape> flat_shape(int depth) {
        std::vector<Tm_flat_member> members;
        for (const char* name : {"alpha", "beta", "gamma"}) {
            const int sort = pick(depth > 0 ? 4 : 2);
            if (sort == 0) continue;
            Tm_flat_member& member = members.emplace_back(Tm_flat_member{.name = name});
            member.kind = sort == 1 ? static_cast<TMV>(pick(10)) : sort == 2 ? TMV_STRUCT : TMV_ARRAY;
            if (sort == 2) member.nested = flat_shape(depth - 1);
            if (sort == 3) member.element = static_cast<TMV>(pick(10));
            if (sort == 3) member.length = static_cast<std::size_t>(pick(4));
        }
        // Known to the process or not: both must read the same.
        return pick(2) == 0 ? Tm_flat_shape::intern(members) : std::make_shared<const Tm_flat_shape>(members);
    }

    Tm_names_catalog* catalog_;
    std::deque<std::vector<std::byte>> kept_;
};

TEST(Message_property_test, RandomTreesSurviveTheRoundTrip) {
    const bool passed = rc::check("message to bytes to message to bytes", [] {
        Message message;
        message.set_use_send_member_string(pick(2) == 0);
        message.set_msg_type(static_cast<TMT>(pick(3)));
        message.header().set_seq_no(*rc::gen::arbitrary<std::uint32_t>());
        message.header().set_discard_eligible(pick(2) == 0);
        message.set_fault(*rc::gen::arbitrary<int>(), "text");
        Tree_source source(message.get_send_member_string(TMG_MEMBERS));
        message.add_member_and_own(TMG_MEMBERS, "first", source.structure(5).release());
        message.add_member_and_own(TMG_MEMBERS, "alpha", source.array(5).release());
        message.add_member_and_own(TMG_MEMBERS, "", source.value(5).release());
        if (pick(2) == 0) message.create_send_member_string_meta();

        const std::vector<std::byte> bytes = message.encode();
        std::unique_ptr<Tm_value> copy;
        {
            const Message decoded = Message::decode(bytes);
            RC_ASSERT(text_of(decoded) == text_of(message));
            RC_ASSERT(decoded.encode() == bytes);
            copy = decoded.members(TMG_MEMBERS).clone();
        }
        RC_ASSERT(text_of(*copy) == text_of(message.members(TMG_MEMBERS)));
    });
    EXPECT_TRUE(passed);
}

}  // namespace
}  // namespace orv::tm
