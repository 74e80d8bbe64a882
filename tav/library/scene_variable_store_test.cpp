#include "tav/library/scene_variable_store.hpp"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tav/scene/scene.hpp"
#include "tav/scene/text_variable_resolver.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using VariableType = SceneVariable::VariableType;
using Found = SceneVariableStore::PotentialVariable;

struct SceneVariableStoreTest : ::testing::Test {
  std::shared_ptr<InMemoryUserDefaults> defaults = std::make_shared<InMemoryUserDefaults>();
  NotificationCenter center;
  SceneVariableStore store{defaults, center};
  std::vector<std::string> posted;
  NotificationObservation updated = center.observe(std::string(SceneVariableStore::variableUpdatedNotificationName),
                                                   [this](const Notification& n) {
                                                     const auto* id = n.info<std::string>("id");
                                                     posted.push_back("updated:" + (id ? *id : std::string("?")));
                                                   });
  NotificationObservation changed = center.observe(
      std::string(SceneVariableStore::variablesChangedNotificationName), [this](const Notification& n) {
        posted.push_back(n.userInfo.empty() ? "changed" : "changed+info");
      });

  SceneVariable first() { return store.variableFor(DefaultVariable::firstName); }
  void setFirstName(std::optional<std::string> value) { store.set(DefaultVariable::firstName, VariableType::text(value)); }
};

TEST(SceneVariable, BuiltInVariablesAndJson) {
  const SceneVariable logo = variable(DefaultVariable::profilePicture);
  EXPECT_EQ(logo.id(), "PROFILE_PICTURE_VARIABLE");
  EXPECT_TRUE(logo.isImage());
  EXPECT_EQ(logo.title, "Logo");
  EXPECT_EQ(logo.replacedText(), "profilePicture");
  EXPECT_TRUE(logo.isTemplate);
  EXPECT_EQ(title(DefaultVariable::social), "Tagline");
  EXPECT_EQ(displayValue(DefaultVariable::lastName), "Name");
  EXPECT_EQ(placeholder(DefaultVariable::social), "@handle or organisation name");
  EXPECT_EQ(defaultValue(DefaultVariable::location), "London, UK");

  EXPECT_EQ(encodeJson(variable(DefaultVariable::firstName)),
            R"({"id":"FIRST_NAME_VARIABLE","type":{"text":{}},"title":"First Name","_replacedText":"firstName","isTemplate":true})");
  SceneVariable user("U1", VariableType::text("Zoë"), "guest");
  EXPECT_EQ(encodeJson(user), R"({"id":"U1","type":{"text":{"_0":"Zoë"}},"title":"guest","isTemplate":false})");
  EXPECT_EQ(user.replacedText(), "guest");  // a user-made token follows the title
  EXPECT_EQ(decodeJson<SceneVariable>(encodeJson(user)), user);
  const auto image = decodeJson<SceneVariable>(
      R"({"id":"I","type":{"image":{"_0":{"name":"logo.png"}}},"title":"Badge","isTemplate":false})");
  ASSERT_TRUE(image.reference());
  EXPECT_EQ(image.reference()->name, "logo.png");
  EXPECT_FALSE(image.text());
}

TEST(SceneVariable, VariableTypeWithOtherThanOneKeyIsRefused) {
  for (const char* type : {R"({})", R"({"text":{},"image":{}})"}) {
    const std::string json = std::string(R"({"id":"x","type":)") + type + R"(,"title":"t","isTemplate":false})";
    EXPECT_THAT([&] { (void)decodeJson<SceneVariable>(json); },
                ::testing::Throws<DecodingError>(::testing::AllOf(
                    ::testing::Property(&DecodingError::reason, "Invalid number of keys found, expected one."),
                    ::testing::Property(&DecodingError::path, "type"))))
        << type;
  }
  EXPECT_THROW(decodeJson<SceneVariable>(R"({"id":"x","type":{"text":{}},"title":"t"})"), DecodingError);
}

TEST_F(SceneVariableStoreTest, StartsWithTheSevenBuiltInsAndPersistsWrites) {
  auto all = store.variables();
  ASSERT_EQ(all.size(), 7u);
  EXPECT_EQ(all[0].id(), "FIRST_NAME_VARIABLE");
  EXPECT_EQ(all[6].id(), "LOCATION_VARIABLE");
  EXPECT_EQ(store.imageVariables().size(), 1u);
  EXPECT_EQ(store.textVariables().size(), 6u);
  EXPECT_FALSE(defaults->value("OverlayVariables"));

  setFirstName("Ada");
  ASSERT_TRUE(defaults->value("OverlayVariables"));
  SceneVariableStore again(defaults, center);
  EXPECT_EQ(again.variableFor(DefaultVariable::firstName).text(), "Ada");
  EXPECT_EQ(posted, (std::vector<std::string>{"updated:FIRST_NAME_VARIABLE"}));
}

TEST_F(SceneVariableStoreTest, AddRemoveAndSetPostTheirNotifications) {
  store.addVariable(VariableType::text());
  store.addVariable(VariableType::image());
  store.addVariable(VariableType::text("x"));
  auto all = store.variables();
  ASSERT_EQ(all.size(), 10u);
  EXPECT_EQ(all[7].title, "variable");
  EXPECT_EQ(all[8].title, "variable1");
  EXPECT_EQ(all[9].title, "variable2");
  EXPECT_FALSE(all[9].isTemplate);
  EXPECT_FALSE(all[9]._replacedText);
  EXPECT_EQ(all[9].id().size(), 36u);

  store.removeVariable("NO_SUCH_ID");
  store.removeVariable("FIRST_NAME_VARIABLE");
  EXPECT_FALSE(store.variableFor(std::string_view("FIRST_NAME_VARIABLE")));
  EXPECT_EQ(store.variableFor(DefaultVariable::firstName).title, "First Name");  // still answers
  setFirstName("Ada");  // adds it back, at the end
  EXPECT_EQ(store.variables().back().id(), "FIRST_NAME_VARIABLE");

  SceneVariable stranger("NOT_STORED", VariableType::text(), "s");
  store.update(stranger, VariableType::text("v"));
  EXPECT_FALSE(store.variableFor(std::string_view("NOT_STORED")));
  EXPECT_EQ(posted, (std::vector<std::string>{"changed", "changed", "changed", "changed", "changed",
                                              "updated:FIRST_NAME_VARIABLE", "updated:NOT_STORED"}));
}

TEST_F(SceneVariableStoreTest, RetitlingRefusesAnyTitleInUseIgnoringCase) {
  const SceneVariable location = store.variableFor(DefaultVariable::location);
  for (const char* taken : {"Location", "LOCATION", "first name"}) {
    EXPECT_THAT([&] { store.update(location, std::string(taken)); },
                ::testing::Throws<SceneVariableError>(
                    ::testing::Property(&SceneVariableError::errorCase, SceneVariableError::Case::titleInUse)))
        << taken;
  }
  store.update(location, std::string("Town"));
  const SceneVariable renamed = store.variableFor(DefaultVariable::location);
  EXPECT_EQ(renamed.title, "Town");
  EXPECT_EQ(renamed.replacedText(), "location");  // a built-in keeps its token
  EXPECT_TRUE(posted.empty());
}

TEST(SceneVariableStore, PotentialVariablesReportUtf16RangesInNonAsciiText) {
  // "é" is one UTF-16 unit (two bytes), "😀" two units (four bytes).
  // "x" starts at 2 + 16 + 1 + 2, "Über" at 21 + 5 + 1.
  EXPECT_EQ(SceneVariableStore::potentialVariables("é {{ first name }} 😀{{x}}\n{{\tÜber\n}}"),
            (std::vector<Found>{{"first name", {2, 16}}, {"x", {21, 5}}, {"Über", {27, 10}}}));

  EXPECT_TRUE(SceneVariableStore::potentialVariables("{{}}").empty());
  EXPECT_TRUE(SceneVariableStore::potentialVariables("{{a}b}}").empty());
  EXPECT_EQ(SceneVariableStore::potentialVariables("{{{a}}"), (std::vector<Found>{{"a", {0, 6}}}));
}

TEST_F(SceneVariableStoreTest, ReplaceOneTokenFallsBackToSampleValuesOfBuiltIns) {
  EXPECT_EQ(store.replace("firstName", "Grüße {{firstName}}!", Utf16Range{6, 13}), "Grüße John!");
  EXPECT_EQ(store.replace("firstName", "😀{{firstName}}", Utf16Range{2, 13}), "😀John");
  setFirstName("  Zoë \n");
  EXPECT_EQ(store.replace("FIRSTNAME", "😀{{FIRSTNAME}}", Utf16Range{2, 13}), "😀Zoë");
  setFirstName("   ");  // blank counts as unset: sample value again
  EXPECT_EQ(store.replace("firstName", "😀{{firstName}}", Utf16Range{2, 13}), "😀John");
  EXPECT_EQ(store.replace("profilePicture", "{{profilePicture}}", Utf16Range{0, 18}), "{{profilePicture}}");
  EXPECT_EQ(store.replace("nobody", "{{nobody}}", Utf16Range{0, 10}), "{{nobody}}");
  store.addVariable(VariableType::text());  // "variable", no value, not built-in
  EXPECT_EQ(store.replace("variable", "{{variable}}", Utf16Range{0, 12}), "{{variable}}");
  EXPECT_THROW(store.replace("x", "😀{{x}}", Utf16Range{1, 5}), std::out_of_range);
  EXPECT_THROW(store.replace("x", "{{x}}", Utf16Range{0, 9}), std::out_of_range);
}

TEST_F(SceneVariableStoreTest, ReplaceAllKeepsOrBlanksWhatHasNoValue) {
  EXPECT_EQ(store.replace("Hi {{firstName}}", false), "Hi {{firstName}}");
  EXPECT_EQ(store.replace("Hi {{firstName}}", true), "Hi ");
  setFirstName("   ");
  EXPECT_EQ(store.replace("{{firstName}}", true), "");
  setFirstName(" Alexandria ");
  store.set(DefaultVariable::lastName, VariableType::text("Ng"));
  EXPECT_EQ(store.replace("{{ first name }} {{LASTNAME}}, {{ünknown}} ✓ {{profilePicture}}", false),
            "Alexandria Ng, {{ünknown}} ✓ {{profilePicture}}");
  EXPECT_EQ(store.replace("{{lastName}}{{firstName}}{{lastName}}", true), "NgAlexandriaNg");
  EXPECT_EQ(store.replace("no tokens {{}}", true), "no tokens {{}}");

  EXPECT_TRUE(store.textMatchesVariable("x {{ first name }}", variable(DefaultVariable::email)));
  EXPECT_TRUE(store.textMatchesVariable("{{profilePicture}}", variable(DefaultVariable::email)));
  EXPECT_FALSE(store.textMatchesVariable("{{nobody}} firstName", variable(DefaultVariable::firstName)));
}

SceneElement textLayer(unsigned number, std::string text) {
  SceneElementTextSettings settings;
  settings.text = std::move(text);
  return SceneElement(tav::testing::id(number), SceneElementType(settings), SceneElementSettings{});
}

SceneElement imageLayer(unsigned number, std::optional<std::string> variableID) {
  SceneElementImageSettings settings;
  settings.variable = std::move(variableID);
  return SceneElement(tav::testing::id(number), SceneElementType(settings), SceneElementSettings{});
}

TEST_F(SceneVariableStoreTest, UndefinedVariablesListWhatHasNoValueInElementOrder) {
  store.set(DefaultVariable::lastName, VariableType::text("   "));  // defined here, though blank
  store.addVariable(VariableType::image());                          // "variable", no image yet
  const std::string noImageID = store.variables().back().id();
  const Scene scene = tav::testing::sceneWith({
      textLayer(1, "{{ first name }} {{lastName}} {{firstName}}"),
      imageLayer(2, "PROFILE_PICTURE_VARIABLE"),
      imageLayer(3, noImageID),
      imageLayer(4, "GONE"),
      tav::testing::shapeLayer(5),
      imageLayer(6, std::nullopt),
      textLayer(7, "{{firstName}}"),
  });
  EXPECT_EQ(store.undefinedVariables(scene),
            (std::vector<std::string>{"first name", "firstName", "variable", "GONE", "firstName"}));
}

TEST_F(SceneVariableStoreTest, InstalledStoreResolvesTextLayerTitles) {
  const SceneElementType type = textLayer(1, "Hallo {{firstName}} 👋 {{nobody}}").type();
  store.installAsTextResolver();
  EXPECT_EQ(type.title(), "Hallo John 👋 {{nobody}}");
  setFirstName("Zoë");
  EXPECT_EQ(type.title(), "Hallo Zoë 👋 {{nobody}}");
  {
    SceneVariableStore other(defaults, center);
    other.installAsTextResolver();
  }  // the newest store uninstalls itself on destruction; text is then shown as stored
  EXPECT_EQ(type.title(), "Hallo {{firstName}} 👋 {{nobody}}");
  store.installAsTextResolver();
  EXPECT_EQ(resolveVariableTokens("{{firstName}}"), "Zoë");
  setTextVariableResolver({});
}

}  // namespace
}  // namespace tav
