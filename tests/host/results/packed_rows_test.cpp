// Rows that are stored without being objects are stored as objects are.
#include <limits>
#include <random>

#include "orv/framework/handle_registry.h"
#include "results_fixture.h"

namespace {

using namespace host_test;  // NOLINT: a test
using PackedRowsTest = ResultsTest;

constexpr std::uint32_t kFirst = 0x7e00a001;  ///< id of the first property; those of the others follow

/// Sets everything, from one seed always the same. Some values repeat from one seed to the next.
template <class Row>
void Fill(Row& row, unsigned seed, std::uint32_t other) {
    std::mt19937_64 random(seed / 2);
    std::uint32_t id = kFirst;
    const auto set = [&](auto value) { row.Set(PropId(id++), value); };
    set(seed % 3 == 0);
    set(static_cast<std::uint8_t>(random()));
    set(static_cast<std::int16_t>(random()));
    set(static_cast<std::uint16_t>(random()));
    set(static_cast<std::int32_t>(seed % 5 == 0 ? random() : 0));
    set(static_cast<std::int64_t>(random()));
    set(seed % 4 == 0 ? ~std::uint64_t{0} : std::uint64_t{random() >> 1});
    set(seed % 7 == 0 ? std::numeric_limits<double>::denorm_min() : -static_cast<double>(random()) / 3);
    const std::int64_t number = seed % 6;
    if constexpr (std::is_same_v<Row, core::PackedRow>) {
        row.SetNumberOfText(PropId(id++), number);
    } else {
        set(std::string(static_cast<std::size_t>(number), 'x'));
    }
    std::uint8_t bytes[16];
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
    set(common::CIpAddress(bytes));
    set(seed % 5 == 1 ? common::CIpv6Address() : common::CIpv6Address(bytes));
    set(other);
}

TEST_F(PackedRowsTest, AreStoredAsObjectsWithTheSameValuesAre) {
    CScriptable& port = Make(ids::Port::CLASS);
    for (const std::uint32_t data_set : {1u, 2u}) {
        Begin();
        ASSERT_EQ(Manager().GetDataSetId(), data_set);
        core::PackedRows packed = MakePackedRows();
        ScriptableVec objects;
        const auto add = [&] { return packed.Add(CHandleRegistry::Instance().Reserve(), port.GetHandle()); };
        add();  // one with defaults
        objects.push_back(&Make(kPackedResult, &port));
        objects.back()->Set("Text", "");
        for (unsigned seed = 0; seed < 100; ++seed) {
            core::PackedRow row = add();
            Fill(row, seed, port.GetHandle());
            objects.push_back(&Make(kPackedResult, &port));
            Fill(*objects.back(), seed, port.GetHandle());
        }
        Manager().SaveRows(packed.Take());
        EXPECT_EQ(packed.GetCount(), 0u);
        Manager().SaveResults(objects);
        Manager().Finalise();
        const Reader reader(Manager().GetDatabasePath());
        std::string columns =
            "ParentHnd, DataSetId, Name = 'PackedResult ' || (Handle - ((DataSetId - 1) << 32))";
        for (const auto& column :
             reader.Query("SELECT name FROM pragma_table_info('PackedResult') WHERE name "
                          "NOT IN ('Handle', 'ParentHnd', 'DataSetId', 'Name')"))
            columns += ", typeof(" + column[0] + "), " + column[0];
        const auto rows = [&](int parity) {
            return reader.Query(
                "SELECT " + columns +
                    " FROM PackedResult WHERE DataSetId = @DataSetId AND "
                    "(Handle - (SELECT min(Handle) FROM PackedResult WHERE DataSetId = @DataSetId)) "
                    "% 2 = " +
                    std::to_string(parity) + " ORDER BY Handle",
                static_cast<int>(data_set));
        };
        EXPECT_EQ(rows(0).size(), 101u);
        EXPECT_EQ(rows(0), rows(1));
        EXPECT_EQ(rows(0)[0][2], "1") << "the name";
        for (CScriptable* object : objects) object->Delete();
    }
}

TEST_F(PackedRowsTest, HaveTheTypesOfTheirClass) {
    core::PackedRows rows = MakePackedRows();
    core::PackedRow row = rows.Add(1, 2);
    EXPECT_THROW(row.Set(PropId(kFirst), std::uint8_t{1}), common::COrvLogicError);
    EXPECT_THROW(row.SetNumberOfText(PropId(kFirst + 5), 1), common::COrvLogicError);
    EXPECT_THROW(row.Set(PropId(0x7e00afff), 1.0), common::COrvLogicError);
    const auto& sample = *CMetaClassManager::Instance().GetClass(common::ClassId(kSampleResult));
    EXPECT_THROW(core::PackedRowLayout(sample, {}), common::COrvLogicError) << "it has lists";
}

}  // namespace
