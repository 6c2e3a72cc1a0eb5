#include "record_json.h"

#include <gtest/gtest.h>

#include "sound/records.h"

namespace {

using tools::argumentsFromJson;
using tools::argumentsToJson;
using tools::Json;

/// What refusing the arguments says.
template <class... Types>
std::string refusalOf(std::string const& json) {
    try {
        argumentsFromJson<Types...>(tools::parseJson(json));
    } catch (tools::FieldError const& error) {
        return error.what();
    }
    return "";
}

TEST(RecordJson, WhatIsMissingIsZeroOrEmpty) {
    auto const [values] =
        argumentsFromJson<sound::DAPParamsUintValue_t>(Json::parse(R"({"field1": [1, 2]})"));
    EXPECT_EQ(values.field1[1], 2U);
    EXPECT_EQ(values.field1[2], 0U);
    auto const [params] =
        argumentsFromJson<sound::soundDTSVirtualXParams_t>(Json::parse(R"({"field3": "x"})"));
    EXPECT_EQ(params.field2, "");
    EXPECT_EQ(params.field3, "x");
}

TEST(RecordJson, BytesThatAreNoTextDoNotMakeItFail) {
    Json const json = argumentsToJson(std::string("a\xFF\0b", 4));
    EXPECT_EQ(tools::toText(json), "{\"field1\":\"a\xEF\xBF\xBD\\u0000b\"}");
}

TEST(RecordJson, RefusalsNameTheFieldTheValueAndWhatIsAccepted) {
    using Params = sound::soundParams_t;
    using Values = sound::DAPParamsIntValue_t;
    EXPECT_EQ(refusalOf<Params>(R"({"field46": {"field1": 256}})"),
              "field46.field1: 256 is not a uint8 from 0 to 255");
    EXPECT_EQ(refusalOf<Params>(R"({"field1": -1})"),
              "field1: -1 is not a uint32 from 0 to 4294967295");
    EXPECT_EQ(refusalOf<Params>(R"({"field1": 1.0})"),
              "field1: 1.0 is not a uint32 from 0 to 4294967295");
    // Only 32 bits of it travel.
    EXPECT_EQ(refusalOf<Params>(R"({"field2": 2147483648})"),
              "field2: 2147483648 is not an int64 from -2147483648 to 2147483647");
    EXPECT_EQ(refusalOf<Params>(R"({"field44": 1})"), "field44: 1 is not a bool, true or false");
    EXPECT_EQ(refusalOf<Params>(R"({"field46": 3})"),
              "field46: 3 is not an object like {\"field1\": ...}");
    EXPECT_EQ(refusalOf<Params>("[]"), "the arguments: [] is not an object like {\"field1\": ...}");
    EXPECT_EQ(refusalOf<sound::soundBalanceParams_t>(R"({"field3": 1})"),
              "field3: there is no such field, only field1 to field2");
    EXPECT_EQ(refusalOf<std::string>(R"({"field1": 18446744073709551615})"),
              "field1: 18446744073709551615 is not a string");
    EXPECT_EQ(refusalOf<Params>(std::string(300'000, '[')),
              "the JSON is nested more than 32 levels deep");
    EXPECT_EQ(refusalOf<Params>(R"({"field46": {"field1": -1e400}})"),
              "field46.field1: -1.7e+308 is not a uint8 from 0 to 255");
    EXPECT_EQ(refusalOf<std::string>(R"({"field1": "\"1e400", "field2": 1e400})"),
              "field2: there is no such field, only field1");
    EXPECT_EQ(refusalOf<std::string>(std::string("{}\0{}", 5)), "there is a NUL byte in the JSON");
    EXPECT_EQ(refusalOf<signed char>(R"({"field1": 18446744073709551615})"),
              "field1: 18446744073709551615 is not an int8 from -128 to 127");
    EXPECT_EQ(refusalOf<Values>(R"({"field1": [0, "x"]})"),
              "field1[1]: \"x\" is not an int32 from -2147483648 to 2147483647");
    EXPECT_EQ(refusalOf<Values>(R"({"field1": [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0]})"),
              "field1: [0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0... is not an array of at most 20 "
              "values");
}

TEST(RecordJson, AnObjectWithMoreKeysThanFieldsIsRefusedWhileItIsRead) {
    auto const withKeys = [](int count) {
        std::string text = R"({"inner": {}, "x": 0)";
        for (int i = 2; i < count; ++i) text += ", \"" + std::to_string(i) + "\": {\"y\": 0}";
        return text + '}';
    };
    EXPECT_EQ(tools::parseJson(withKeys(1000)).size(), 1000U);
    EXPECT_EQ(refusalOf<bool>(withKeys(1001)),
              "an object has more than 1000 keys; no message has so many fields");
    EXPECT_EQ(tools::parseJson('[' + withKeys(600) + ", " + withKeys(600) + ']').size(), 2U);
}

}  // namespace
