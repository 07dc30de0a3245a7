// The JSON schema of test files.
#include <nlohmann/json.hpp>
#include <tuple>

#include "good_file.h"
#include "test_file/explain.h"
#include "test_file/schema.h"

namespace {

using namespace test_file_test;  // NOLINT: a test

using Json = nlohmann::json;
using testing::HasSubstr;

struct SchemaTest : TestFileTest {
    Json schema_ = Json::parse(orv::app::MakeJsonSchema());
};

TEST_F(SchemaTest, SaysWhatThePropertiesTake) {
    const std::pair<const char*, const char*> cases[] = {
        {"/$schema", R"("https://json-schema.org/draft/2020-12/schema")"},
        {"/required", R"(["project"])"},
        {"/$defs/EmulatedDevice/properties/DeviceCount/maximum", "65535"},
        {"/$defs/EmulatedDevice/properties/AffiliationPort/$ref", R"("#/$defs/reference")"},
        {"/$defs/IptvViewingProfileConfig/properties/ZapDirection/enum",
         R"(["DIR_UP", "DIR_DOWN", "DIR_RANDOM", 0, 1, 2])"},
        {"/$defs/IptvViewingProfileConfig/properties/Interval/description",
         R"("Time between two channel changes; a multiple of 50 ms. Unit: ms.")"},
        {"/$defs/MldHostConfig/properties/Version/enum", R"(["MLD_V1", "MLD_V2"])"},
        {"/$defs/Ipv4If/properties/AddrList/anyOf/0/anyOf/0/items/format", R"("ipv4")"},
        {"/$defs/IptvViewedChannels/properties/ChannelBlock/description",
         R"("The channel block that contains the range. Refers to: IptvChannelBlock.")"},
        {"/$defs/simulation/properties/seed/maximum", "18446744073709551615"},
        {"/properties/live/additionalProperties", "false"},
        {"/$defs/network_behaviour/properties/packet_rate/maximum", "1e7"},
        {"/$defs/network_behaviour/properties/jitter/oneOf/2/properties/normal/items/maximum", "1000000000"},
        {"/$defs/simulation/properties/faults/additionalProperties/items/oneOf/1/properties/request/enum/0",
         R"("AssignChannelBlock")"},
        {"/$defs/simulation/properties/faults/additionalProperties/items/oneOf/3/required",
         R"(["kind", "delay_ms"])"},
        {"/$defs/network_behaviour/properties/join_delay/oneOf/1/required", R"(["uniform"])"}};
    for (const auto& [path, value] : cases) {
        const Json::json_pointer pointer(path);
        ASSERT_TRUE(schema_.contains(pointer)) << path;
        EXPECT_EQ(schema_.at(pointer), Json::parse(value)) << path;
    }
    // What a file cannot hold is left out.
    for (const char* path :
         {"/$defs/Scriptable", "/$defs/IptvPortResults", "/$defs/Sequencer", "/$defs/Port/properties/Name",
          "/$defs/Port/properties/Handle", "/$defs/Port/properties/ParentChild"})
        EXPECT_FALSE(schema_.contains(Json::json_pointer(path))) << path;
    // Every reference within it leads somewhere.
    int references = 0;
    const Json flat = schema_.flatten();
    for (const auto& [path, value] : flat.items()) {
        if (!path.ends_with("/$ref")) continue;
        ++references;
        EXPECT_TRUE(schema_.contains(Json::json_pointer(value.get<std::string>().substr(1)))) << path;
    }
    EXPECT_GT(references, 100);
}

TEST_F(SchemaTest, OffersClassesWhereTheyCanStand) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"/properties/project", "Port", true},
        {"/properties/project", "WaitCommand", false},
        {"/properties/project", "StreamBlock", false},
        {"/properties/sequence", "WaitCommand", true},
        {"/properties/sequence", "Port", false},
        {"/$defs/Port/properties/children", "StreamBlock", true},
        {"/$defs/SequencerLoopCommand/properties/children", "IptvStartTestCommand", true}};
    for (const auto& [list, class_name, expected] : cases) {
        const Json& offered = schema_.at(Json::json_pointer(std::string(list) + "/items/oneOf"));
        const Json wanted{{"$ref", std::string("#/$defs/") + class_name}};
        EXPECT_EQ(std::count(offered.begin(), offered.end(), wanted), expected) << list << " " << class_name;
    }
}

/// The two are made of the same model in different ways.
TEST_F(SchemaTest, ExplanationsSayWhatTheSchemaDoes) {
    const std::string list = orv::app::ExplainClass("").text;
    int classes = 0;
    for (const auto& [name, definition] : schema_["$defs"].items()) {
        if (!definition.contains("required") || definition["required"] != Json{name}) continue;
        ++classes;
        EXPECT_THAT(list, testing::AnyOf(HasSubstr("\n" + name + " "), HasSubstr("\n" + name + "\n")));
        const std::string text = orv::app::ExplainClass(name).text;
        for (const auto& [key, value] : definition["properties"].items()) {
            const std::string wanted = key == "children" ? ""
                                       : key == name     ? "- " + name + ": "
                                                         : "\n  " + key + ": ";
            EXPECT_NE(text.find(wanted), std::string::npos) << name << " " << key;
            if (!value.contains("default") || value["default"].is_structured()) continue;
            const Json& shown = value["default"];
            const std::string otherwise =
                "default " + (shown.is_string() ? shown.get<std::string>() : shown.dump());
            EXPECT_NE(text.find(otherwise), std::string::npos) << name << " " << key << " " << shown;
        }
        EXPECT_EQ(ListMistakes(text.substr(text.find("\nExample\n") + 9)), "") << text;
    }
    EXPECT_GT(classes, 40);
    // Two tables, each with two lines above it and an empty one below, and the last line.
    EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), classes + 2 * 3 + 1);
    EXPECT_EQ(orv::app::ExplainClass("emulateddevise").text,
              "iptvtest: no data model has the class \"emulateddevise\"; did you mean EmulatedDevice?\n");
    EXPECT_THAT(orv::app::ExplainClass("MulticastHostConfig").text,
                HasSubstr("a file has one of IgmpHostConfig, MldHostConfig."));
}

}  // namespace
