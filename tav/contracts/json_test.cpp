#include <limits>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/json_parser_keeping_out_of_range.hpp"
#include "tav/contracts/uuid.hpp"

namespace tav {
namespace {

TEST(JsonParser, RandomDoublesRoundTripBitForBit) {
  std::mt19937_64 engine(42);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::uniform_int_distribution<int> exponent(-30, 30);
  std::vector<double> values;
  for (int i = 0; i < 20000; ++i) values.push_back(unit(engine) * std::pow(10.0, exponent(engine)) * (i % 2 ? -1 : 1));
  std::string out;
  JsonWriter writer(out);
  writer.value(values);
  auto back = decodeJson<std::vector<double>>(out);
  ASSERT_EQ(back.size(), values.size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    ASSERT_EQ(std::bit_cast<std::uint64_t>(back[i]), std::bit_cast<std::uint64_t>(values[i])) << out.substr(0, 100);
  }
}

TEST(JsonWriter, WritesShortestNumbersAndEscapes) {
  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.field("a", 0.1);
  w.field("b", 1.0);
  w.field("c", 16.0 / 9.0);
  w.field("d", std::string("q\"\\/\n\x01é"));
  w.field("e", 0.8f);
  w.key("f");
  w.beginArray();
  w.null();
  w.boolean(true);
  w.integer(-3);
  w.endArray();
  w.endObject();
  EXPECT_EQ(out, R"({"a":0.1,"b":1,"c":1.7777777777777777,"d":"q\"\\/\n\u0001é","e":0.8,"f":[null,true,-3]})");
}

TEST(JsonParser, ReportsLineAndColumnOfBadText) {
  try {
    decodeJson<AnyCodable>("{\n  \"a\": tru }");
    FAIL() << "expected an error";
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.path(), "(document)");
    EXPECT_NE(error.reason().find("line 2"), std::string::npos) << error.what();
  }
  EXPECT_THROW(decodeJson<AnyCodable>("{} {}"), DecodingError);
  EXPECT_NO_THROW(decodeJson<AnyCodable>(" {} \n"));
}

TEST(JsonParser, RefusesNumbersBeyondDoubleRangeNamingTheirPath) {
  const std::string hugeInteger(400, '9');
  struct Case {
    std::string text;
    std::string path;
  };
  const Case cases[] = {
      {"1e400", "(document)"},
      {"{\"a\":[0,{\"b\":-1e400}]}", "a[1].b"},
      {"[1,2,[true,null,\"x\",{\"k\":1}, 2E+999]]", "[2][4]"},
      {"{\"big\":" + hugeInteger + "}", "big"},
      {"{\"t\":[0,1E+99999999999]}", "t[1]"},  // an exponent past the tokenizer's own limit
  };
  for (const Case& c : cases) {
    try {
      parseJson(c.text);
      ADD_FAILURE() << c.text << " was accepted";
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.path(), c.path) << c.text;
      EXPECT_NE(error.reason().find("number out of range"), std::string::npos) << error.what();
    }
  }
  // Too small to tell from zero is not out of range: it reads as the nearest double.
  EXPECT_EQ(parseJson("[1e-400]").as_array()[0].as_double(), 0.0);
  EXPECT_EQ(parseJson("[4.9406564584124654e-324]").as_array()[0].as_double(), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(parseJson("[1.7976931348623157e308]").as_array()[0].as_double(), std::numeric_limits<double>::max());
}

TEST(JsonParser, KeepingOutOfRangeReadsInfinitiesAndSaysSo) {
  bool saw = false;
  JsonValue value = parseJsonKeepingOutOfRange("{\"a\":-1e400,\"b\":1}", {}, saw);
  EXPECT_TRUE(saw);
  EXPECT_EQ(value.at("a").as_double(), -std::numeric_limits<double>::infinity());
  parseJsonKeepingOutOfRange("{\"b\":1e300}", {}, saw);
  EXPECT_FALSE(saw);
}

TEST(JsonWriter, ClampsNumbersJsonCannotHoldInsteadOfThrowing) {
  std::string out;
  JsonWriter w(out);
  w.value(std::vector<double>{std::numeric_limits<double>::infinity(), -std::numeric_limits<double>::infinity(),
                              std::numeric_limits<double>::quiet_NaN()});
  EXPECT_EQ(out, "[1.7976931348623157e+308,-1.7976931348623157e+308,0]");
  EXPECT_NO_THROW(parseJson(out));
}

TEST(JsonObjectReader, NamesThePathOfTheFailingValue) {
  auto json = decodeJson<AnyCodable>(R"({"elements":[{},{"settings":{"cornerRadius":"big"}}]})");
  JsonObjectReader root(json, JsonPath::root());
  JsonPath elements = root.path().key("elements");
  JsonPath second = elements.index(1);
  JsonObjectReader element(json.at("elements").at(1), second);
  JsonPath settingsPath = second.key("settings");
  JsonObjectReader settings(*element.find("settings"), settingsPath);
  try {
    settings.optional<int>("cornerRadius");
    FAIL();
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "elements[1].settings.cornerRadius: expected an integer");
  }
  EXPECT_EQ(settings.optional<int>("missing"), std::nullopt);
  EXPECT_THROW(settings.required<int>("missing"), DecodingError);
}

TEST(JsonCoder, IntegersAcceptIntegralNumbersOnly) {
  EXPECT_EQ(decodeJson<int>("1.0"), 1);
  EXPECT_THROW(decodeJson<int>("1.5"), DecodingError);
  EXPECT_THROW(decodeJson<int>("3000000000"), DecodingError);
  EXPECT_EQ(decodeJson<std::uint32_t>("3000000000"), 3000000000u);
  EXPECT_THROW(decodeJson<std::uint32_t>("-1"), DecodingError);
  EXPECT_THROW(decodeJson<bool>("1"), DecodingError);
  EXPECT_EQ(decodeJson<double>("2"), 2.0);
}

enum class Flavour { plain, spicy, unknown };
enum class Level { low, high };

}  // namespace

template <>
struct EnumTraits<Flavour> {
  static constexpr std::array cases{EnumCase<Flavour>{Flavour::plain, "plain"}, EnumCase<Flavour>{Flavour::spicy, "spicy"},
                                    EnumCase<Flavour>{Flavour::unknown, "unknown"}};
  static constexpr Flavour unknownCase = Flavour::unknown;
};
template <>
struct EnumTraits<Level> {
  static constexpr std::array cases{EnumCase<Level, int>{Level::low, 0}, EnumCase<Level, int>{Level::high, 1}};
};

namespace {

TEST(EnumTable, UnknownTextReadsAsUnknownOnlyForOptionalDecodableEnums) {
  EXPECT_EQ(decodeJson<Flavour>("\"spicy\""), Flavour::spicy);
  EXPECT_EQ(decodeJson<Flavour>("\"sour\""), Flavour::unknown);
  EXPECT_EQ(encodeJson(Flavour::unknown), "\"unknown\"");
  EXPECT_EQ(decodeJson<Level>("1"), Level::high);
  EXPECT_THROW(decodeJson<Level>("2"), DecodingError);
  EXPECT_EQ(encodeJson(Level::high), "1");
  EXPECT_EQ(allNonunknownCases<Flavour>(), (std::vector{Flavour::plain, Flavour::spicy}));
  EXPECT_EQ(allCases<Level>().size(), 2u);
}

TEST(Uuid, ParsesEitherCaseAndWritesUpperCase) {
  auto id = Uuid::parse("e621e1f8-c36c-495a-93fc-0c247a3e6e5f");
  ASSERT_TRUE(id);
  EXPECT_EQ(id->toString(), "E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  EXPECT_EQ(Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5F"), id);
  EXPECT_FALSE(Uuid::parse("E621E1F8C36C495A93FC0C247A3E6E5F"));
  EXPECT_FALSE(Uuid::parse("E621E1F8-C36C-495A-93FC-0C247A3E6E5G"));
  EXPECT_NE(Uuid::random(), Uuid::random());
  EXPECT_EQ(Uuid::random().toString()[14], '4');
}

}  // namespace
}  // namespace tav
