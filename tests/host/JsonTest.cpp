// host/Json.cpp: the lines are what the JSON library would write.
#include "host/Json.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>

namespace {

std::string Dump(const nlohmann::ordered_json& json)
{
    return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
}

TEST(JsonLine, WritesTheSameBytesAsTheLibrary)
{
    JsonLine json;
    json.Begin("variable")
        .Number("size", 4294967294u)
        .NumberOrNull("id", kNone)
        .NumberOrNull("unit", 11)
        .Signed("value", -40)
        .Bool("flag", true)
        .TextOrNull("name", nullptr)
        .OpenList("members");
    json.OpenObject().Text("name", "a\"b\\c").CloseObject();
    json.OpenObject().Text("name", "").Null("type").CloseObject().Number(nullptr, 7).CloseList();
    json.OpenList("none").CloseList().Hex("location", std::string("\x00\x9F\xFF", 3));

    nlohmann::ordered_json want;
    want["record"] = "variable";
    want["size"] = 4294967294u;
    want["id"] = nullptr;
    want["unit"] = 11;
    want["value"] = -40;
    want["flag"] = true;
    want["name"] = nullptr;
    nlohmann::ordered_json second;
    second["name"] = "";
    second["type"] = nullptr;
    want["members"] = {{{"name", "a\"b\\c"}}, second, 7};
    want["none"] = nlohmann::ordered_json::array();
    want["location"] = "009fff";
    EXPECT_EQ(json.End(), Dump(want));
}

TEST(JsonLine, ReplacesMalformedTextAsTheLibraryDoes)
{
    std::mt19937 random(7);
    JsonLine json;
    for (int round = 0; round < 2000; ++round) {
        std::string text(random() % 12, '\0');
        for (char& character : text) {
            // Half of the bytes are such that begin, continue or break off a UTF-8 sequence.
            character = static_cast<char>(random() % 2 == 0 ? 0x80u + random() % 0x80u : random() % 0x80u);
        }
        nlohmann::ordered_json want;
        want["text"] = text;
        EXPECT_EQ(json.Begin().Text("text", text).End(), Dump(want));
    }
}

TEST(JsonLine, StartsAfreshWithEachLine)
{
    JsonLine json;
    json.Begin().Number("a", 1).End();
    EXPECT_EQ(json.Begin().Number("b", 2).End(), "{\"b\":2}\n");
}

} // namespace
