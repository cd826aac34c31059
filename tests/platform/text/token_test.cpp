// Reentrant tokenizing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "plat_text.h"

namespace {

std::vector<std::string> Split(std::string text, const char *delim) {
    std::vector<std::string> tokens;
    char *context = nullptr;
    for (char *token = strtok_s(text.data(), delim, &context); token != nullptr;
         token = strtok_s(nullptr, delim, &context)) {
        tokens.emplace_back(token);
    }
    return tokens;
}

TEST(StrtokS, SplitsOnAnyDelimiterSkippingRuns) {
    struct Case {
        const char *text;
        const char *delim;
        std::vector<std::string> want;
    };
    const Case cases[] = {
        {"a,b,c", ",", {"a", "b", "c"}},
        {",,a,,b,,", ",", {"a", "b"}},
        {"GET POST;PUT", " ;", {"GET", "POST", "PUT"}},
        {"", ",", {}},
        {",,,", ",", {}},
        {"whole", ",", {"whole"}},
        {"a,b", "", {"a,b"}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Split(c.text, c.delim), c.want) << "text '" << c.text << "'";
}

TEST(StrtokS, TwoTextsInterleaved) {
    char first[] = "1.2.3";
    char second[] = "x/y";
    char *firstContext = nullptr;
    char *secondContext = nullptr;
    EXPECT_STREQ(strtok_s(first, ".", &firstContext), "1");
    EXPECT_STREQ(strtok_s(second, "/", &secondContext), "x");
    EXPECT_STREQ(strtok_s(nullptr, ".", &firstContext), "2");
    EXPECT_STREQ(strtok_s(nullptr, "/", &secondContext), "y");
    EXPECT_STREQ(strtok_s(nullptr, ".", &firstContext), "3");
    EXPECT_EQ(strtok_s(nullptr, "/", &secondContext), nullptr);
    EXPECT_EQ(strtok_s(nullptr, ".", &firstContext), nullptr);
    EXPECT_EQ(strtok_s(nullptr, ".", &firstContext), nullptr) << "stays at the end";
}

TEST(StrtokS, NullArgumentsGiveNull) {
    char text[] = "a,b";
    char *context = nullptr;
    EXPECT_EQ(strtok_s(text, nullptr, &context), nullptr);
    EXPECT_EQ(strtok_s(text, ",", nullptr), nullptr);
    EXPECT_EQ(strtok_s(nullptr, ",", &context), nullptr) << "no text and no saved position";
    EXPECT_STREQ(text, "a,b") << "a refused call leaves the text alone";
}

}  // namespace
