#include "orv/tm/flat_shape.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orv/tm/exceptions.h"
#include "tm/sample_messages.h"

namespace orv::tm {
namespace {

using Members = std::vector<Tm_flat_member>;

TEST(Flat_shape_test, RowSizeCountsNestedStructsAndInlineArrays) {
    const Tm_flat_shape event(testing::event_members());
    EXPECT_EQ(event.simple_size(), 8U + 1 + 1);
    EXPECT_EQ(event.row_size(), 8U + 1 + 1 + 3 * 2 + 4);
    EXPECT_EQ(event.total_members(), 6U);
    EXPECT_EQ(event.depth(), 3);
    EXPECT_EQ(Tm_flat_shape({}).row_size(), 0U);
}

TEST(Flat_shape_test, RefusesWhatHasNoFixedOrNoReasonableWidth) {
    const auto row_of = [](std::size_t length, TMV element) {
        return Members{{.name = "x", .kind = TMV_ARRAY, .element = element, .length = length}};
    };
    EXPECT_NO_THROW(Tm_flat_shape(row_of(64 * 1024, TMV_UINT8)));
    EXPECT_THROW(Tm_flat_shape(row_of(64 * 1024 + 1, TMV_UINT8)), Tm_exception);
    EXPECT_THROW(Tm_flat_shape(row_of(SIZE_MAX / 4, TMV_UINT64)), Tm_exception);
    EXPECT_THROW(Tm_flat_shape(row_of(1, TMV_STRING)), Tm_exception);
    EXPECT_THROW(Tm_flat_shape(Members{{.name = "x", .kind = TMV_STRING}}), Tm_exception);
    EXPECT_THROW(Tm_flat_shape(Members{{.name = "x", .kind = TMV_STRUCT}}), Tm_exception) << "nothing nested";
    EXPECT_THROW(Tm_flat_shape(Members{{.name = "x", .kind = TMV_BOOL}, {.name = "x", .kind = TMV_INT8}}),
                 Tm_exception);

    auto doubled = std::make_shared<const Tm_flat_shape>(Members{});
    const auto grow = [&doubled] {
        for (int level = 0; level < 20; ++level) {
            doubled = std::make_shared<const Tm_flat_shape>(
                Members{{.name = "a", .kind = TMV_STRUCT, .nested = doubled},
                        {.name = "b", .kind = TMV_STRUCT, .nested = doubled}});
        }
    };
    EXPECT_THROW(grow(), Tm_exception) << "a million members in rows without a byte";
}

TEST(Flat_shape_test, EqualShapesAreInternedOnceAndDifferentOnesKeptApart) {
    const auto nested = [](const char* name) {
        return Members{
            {.name = "n",
             .kind = TMV_STRUCT,
             .nested = std::make_shared<const Tm_flat_shape>(Members{{.name = name, .kind = TMV_UINT8}})}};
    };
    const auto inline_array = [](TMV element, std::size_t length) {
        return Members{{.name = "n", .kind = TMV_ARRAY, .element = element, .length = length}};
    };
    const Members variants[] = {nested("x"),
                                nested("y"),
                                inline_array(TMV_UINT8, 4),
                                inline_array(TMV_INT8, 4),
                                inline_array(TMV_UINT8, 5),
                                {{.name = "n", .kind = TMV_UINT8}},
                                {{.name = "m", .kind = TMV_UINT8}},
                                {{.name = "n", .kind = TMV_UINT8}, {.name = "m", .kind = TMV_UINT8}}};
    std::vector<std::shared_ptr<const Tm_flat_shape>> known;
    for (const Members& members : variants) {
        EXPECT_EQ(Tm_flat_shape::intern(members), Tm_flat_shape::intern(members));
        known.push_back(Tm_flat_shape::intern(members));
        EXPECT_EQ(Tm_flat_shape::find_interned(Tm_flat_shape(members)), known.back());
    }
    for (std::size_t a = 0; a < known.size(); ++a) {
        for (std::size_t b = 0; b < a; ++b) EXPECT_NE(known[a], known[b]) << a << " and " << b;
    }
    EXPECT_EQ(known[0]->members()[0].nested, Tm_flat_shape::intern({{.name = "x", .kind = TMV_UINT8}}));
    EXPECT_EQ(Tm_flat_shape::find_interned(Tm_flat_shape({{.name = "never interned", .kind = TMV_BOOL}})),
              nullptr);
}

}  // namespace
}  // namespace orv::tm
