#include "tav/scene/optional_update.hpp"

#include <string>

#include <gtest/gtest.h>

namespace tav {
namespace {

using TextUpdate = OptionalUpdate<std::string>;

TEST(OptionalUpdate, EqualityIsByCaseThenPayload) {
  EXPECT_EQ(TextUpdate(), TextUpdate::none());
  EXPECT_EQ(TextUpdate::some("a"), TextUpdate::some("a"));
  EXPECT_NE(TextUpdate::some("a"), TextUpdate::some("b"));
  EXPECT_NE(TextUpdate::none(), TextUpdate::clear());
  EXPECT_NE(TextUpdate::some(""), TextUpdate::none());
  EXPECT_EQ(TextUpdate::some("a").value(), "a");
  EXPECT_EQ(TextUpdate::clear().value(), std::nullopt);
  std::hash<TextUpdate> hash;
  EXPECT_EQ(hash(TextUpdate::some("a")), hash(TextUpdate::some("a")));
  EXPECT_NE(hash(TextUpdate::none()), hash(TextUpdate::clear()));
}

TEST(OptionalUpdate, ReadsValueNullAndSwallowsWrongType) {
  EXPECT_EQ(decodeJson<TextUpdate>(R"("warm")"), TextUpdate::some("warm"));
  EXPECT_EQ(decodeJson<TextUpdate>("null"), TextUpdate::clear());
  EXPECT_EQ(decodeJson<TextUpdate>("12"), TextUpdate::none());
  EXPECT_EQ(decodeJson<OptionalUpdate<double>>("12"), OptionalUpdate<double>::some(12));
  EXPECT_EQ(decodeJson<OptionalUpdate<bool>>("{}"), OptionalUpdate<bool>::none());
}

TEST(OptionalUpdate, OwnFormWritesSomeAsValueClearAsNullAndSkipsNone) {
  EXPECT_EQ(encodeJson(TextUpdate::some("warm")), R"("warm")");
  EXPECT_EQ(encodeJson(TextUpdate::clear()), "null");
  EXPECT_THROW(encodeJson(TextUpdate::none()), std::logic_error);

  std::string out;
  JsonWriter w(out);
  w.beginObject();
  writeOptionalUpdateField(w, "a", TextUpdate::some("x"));
  writeOptionalUpdateField(w, "b", TextUpdate::none());
  writeOptionalUpdateField(w, "c", TextUpdate::clear());
  writeOptionalUpdateField(w, "d", TextUpdate::clear(), OptionalUpdateClear::omit);
  w.endObject();
  EXPECT_EQ(out, R"({"a":"x","c":null})");
}

TEST(OptionalUpdate, FieldReaderTreatsMissingAsNoneAndNullByRule) {
  auto json = decodeJson<AnyCodable>(R"({"a":null,"b":"x"})");
  JsonObjectReader reader(json, JsonPath::root());
  EXPECT_EQ(readOptionalUpdateField<std::string>(reader, "a"), TextUpdate::clear());
  EXPECT_EQ(readOptionalUpdateField<std::string>(reader, "a", OptionalUpdateNull::none), TextUpdate::none());
  EXPECT_EQ(readOptionalUpdateField<std::string>(reader, "b"), TextUpdate::some("x"));
  EXPECT_EQ(readOptionalUpdateField<std::string>(reader, "missing"), TextUpdate::none());
}

}  // namespace
}  // namespace tav
