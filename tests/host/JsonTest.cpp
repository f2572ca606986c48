// host/Json.cpp: malformed text is replaced as the JSON library would.
#include "host/Json.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <random>

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
        want["value"] = -40;
        EXPECT_EQ(json.Begin().Text("text", text).Signed("value", -40).End(),
                  want.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n');
    }
}
