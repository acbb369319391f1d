#include "JsonValue.h"

#include <gtest/gtest.h>

namespace
{

using namespace KVR::Cli;

TEST(JsonValue, IsATextWhereItCan)
{
    EXPECT_EQ(JsonText(JsonValue("J\xc3\xbcrgen")), "\"J\xc3\xbcrgen\"");
    EXPECT_EQ(JsonText(JsonValue("")), "\"\"");
}

TEST(JsonValue, IsBase64WhereItIsNoUtf8)
{
    EXPECT_EQ(JsonText(JsonValue("\xff\xd8")), R"({"base64":"/9g="})");
}

TEST(JsonText, EscapesWhatATerminalWouldActOn)
{
    EXPECT_EQ(JsonText(JsonValue("\x1b\x7f\xc2\x9b\xc2\xa0")), "\"\\u001b\\u007f\\u009b\xc2\xa0\"");
}

TEST(JsonText, ReadsBackAsItWas)
{
    const std::string value = "\"\\\n\t\x01\x7f\xc2\x80\xc2\x9f\xf0\x9f\x98\x80";
    EXPECT_EQ(Document::parse(JsonText(JsonValue(value))), value);
}

} // namespace
