#include "orv/framework/resources.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "orv/common/exceptions.h"
#include "thrown.h"

namespace host_test {

using testing_aids::ThrownBy;

namespace {

using namespace orv::framework;  // NOLINT: tests

TEST(ResourceFormatter, FillsPlaceholders) {
    const struct {
        const char* text;
        std::vector<std::string> arguments;
        const char* result;
    } cases[] = {
        {"plain", {}, "plain"},
        {"", {"unused"}, ""},
        {"{1}", {"a"}, "a"},
        {" {1}", {""}, " "},
        {"{2} before {1}", {"a", "b"}, "b before a"},
        {"{1}{1}", {"a"}, "aa"},
        {"{1} and {2}", {"a"}, "a and {2}"},
        {"{1}", {"a", "b"}, "a"},
        {"{1}{2}", {"{2}", "{1}"}, "{2}{1}"},
        {"{0} {-1} {x} { 1} {1 } {} {", {"a"}, "{0} {-1} {x} { 1} {1 } {} {"},
        {"{{1}}", {"a"}, "{a}"},
        {"{11}{1}", {"1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "eleven"}, "eleven1"},
        {"{99999999999999999999}", {"a"}, "{99999999999999999999}"},
    };
    std::uint32_t id = 0x7f000100;
    for (const auto& c : cases) {
        CResourceManager::Instance().AddStringResource(++id, c.text);
        ResourceFormatter formatter(id);
        for (const std::string& argument : c.arguments) formatter << argument;
        EXPECT_EQ(formatter.ToString(), c.result) << c.text;
        std::ostringstream streamed;
        streamed << formatter;
        EXPECT_EQ(streamed.str(), c.result);
    }
}

TEST(ResourceFormatter, StreamsArgumentsAndFillsThemUpOnTheLeft) {
    CResourceManager::Instance().AddStringResource(0x7f000200, "{1}|{2}|{3}|{4}");
    ResourceFormatter formatter(0x7f000200);
    formatter.SetFieldWidth(4, '0');
    formatter << 42 << "12345";
    formatter.SetFieldWidth(0);
    formatter << -1 << 2.5;
    EXPECT_EQ(formatter.ToString(), "0042|12345|-1|2.5");
}

TEST(ResourceManager, RefusesAnotherTextForAnIdAndUnknownIds) {
    auto& manager = CResourceManager::Instance();
    manager.AddStringResource(0x7f000001, "one");
    manager.AddStringResource(0x7f000001, "one");
    EXPECT_EQ(ThrownBy<orv::common::COrvLogicError>([&] { manager.AddStringResource(0x7f000001, "two"); }),
              "string resource 0x7f000001 is \"one\" already and cannot become \"two\"");
    EXPECT_EQ(manager.GetStringResource(0x7f000001), "one");
    EXPECT_EQ(ThrownBy<orv::common::COrvLogicError>([] { ResourceFormatter(0x7f0000ff).ToString(); }),
              "there is no string resource 0x7f0000ff");
    manager.AddStringResource(0x7f000000, "zero");
    const auto ids = manager.GetIds();
    EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
    EXPECT_THAT(ids, testing::IsSupersetOf({0x7f000000u, 0x7f000001u}));
}

}  // namespace
}  // namespace host_test
