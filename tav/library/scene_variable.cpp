#include "tav/library/scene_variable.hpp"

#include "tav/contracts/localizer.hpp"

namespace tav {
namespace {

struct DefaultVariableRow {
  std::string_view titleKey;
  std::string_view title;
  std::string_view displayKey;
  std::string_view display;
  std::string_view placeholder;
  std::string_view replacedText;
  std::string_view defaultValue;
};

constexpr std::array<DefaultVariableRow, 7> kRows{{
    {"DEFAULT_VARIABLE_FIRST_NAME", "First Name", "DEFAULT_VARIABLE_DISPLAY_NAME", "Name", "First name", "firstName",
     "John"},
    {"DEFAULT_VARIABLE_LAST_NAME", "Last Name", "DEFAULT_VARIABLE_DISPLAY_NAME", "Name", "Last name", "lastName",
     "Appleseed"},
    {"DEFAULT_VARIABLE_TAGLINE", "Tagline", "DEFAULT_VARIABLE_DISPLAY_TAGLINE", "Tagline",
     "@handle or organisation name", "social", "@appleseed"},
    {"DEFAULT_VARIABLE_LOGO", "Logo", "DEFAULT_VARIABLE_DISPLAY_LOGO", "Logo", "Logo", "profilePicture", ""},
    {"DEFAULT_VARIABLE_PRONOUNS", "Pronouns", "DEFAULT_VARIABLE_DISPLAY_PRONOUNS", "Pronouns", "Pronouns", "pronouns",
     "they/them"},
    {"DEFAULT_VARIABLE_EMAIL", "Email", "DEFAULT_VARIABLE_DISPLAY_EMAIL", "Email", "Email", "email",
     "john.appleseed@example.com"},
    {"DEFAULT_VARIABLE_LOCATION", "Location", "DEFAULT_VARIABLE_DISPLAY_LOCATION", "Location", "Location", "location",
     "London, UK"},
}};

const DefaultVariableRow& row(DefaultVariable v) { return kRows[caseIndex(v)]; }

}  // namespace

std::optional<std::string> SceneVariable::text() const {
  if (const auto* t = type.textCase()) return t->value;
  return std::nullopt;
}

std::optional<TransferAssetReference> SceneVariable::reference() const {
  if (const auto* i = type.imageCase()) return i->value;
  return std::nullopt;
}

std::string title(DefaultVariable v) { return localizedText(row(v).titleKey, row(v).title); }
std::string displayValue(DefaultVariable v) { return localizedText(row(v).displayKey, row(v).display); }
std::string_view placeholder(DefaultVariable v) { return row(v).placeholder; }
std::string_view replacedText(DefaultVariable v) { return row(v).replacedText; }
std::string_view defaultValue(DefaultVariable v) { return row(v).defaultValue; }

SceneVariable variable(DefaultVariable v) {
  auto type = v == DefaultVariable::profilePicture ? SceneVariable::VariableType::image()
                                                   : SceneVariable::VariableType::text();
  return SceneVariable(std::string(id(v)), std::move(type), title(v), std::string(replacedText(v)), true);
}

SceneVariable::VariableType JsonCoder<SceneVariable::VariableType>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  const JsonObject& object = reader.object();
  if (object.size() != 1) throw DecodingError(path, "Invalid number of keys found, expected one.");
  const auto& member = *object.begin();
  const std::string_view key(member.key().data(), member.key().size());
  const JsonPath casePath = path.key(key);
  if (key == "text") {
    JsonObjectReader inner(member.value(), casePath);
    return SceneVariable::VariableType::text(inner.optional<std::string>("_0"));
  }
  if (key == "image") {
    JsonObjectReader inner(member.value(), casePath);
    return SceneVariable::VariableType::image(inner.optional<TransferAssetReference>("_0"));
  }
  throw DecodingError(casePath, "unknown variable type \"" + std::string(key) + "\"");
}

void JsonCoder<SceneVariable::VariableType>::encode(JsonWriter& w, const SceneVariable::VariableType& v) {
  w.beginObject();
  if (const auto* text = v.textCase()) {
    w.key("text");
    w.beginObject();
    w.optionalField("_0", text->value);
    w.endObject();
  } else if (const auto* image = v.imageCase()) {
    w.key("image");
    w.beginObject();
    w.optionalField("_0", image->value);
    w.endObject();
  }
  w.endObject();
}

SceneVariable JsonCoder<SceneVariable>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  auto id = reader.required<std::string>("id");
  auto type = reader.required<SceneVariable::VariableType>("type");
  auto title = reader.required<std::string>("title");
  auto replaced = reader.optional<std::string>("_replacedText");
  auto isTemplate = reader.required<bool>("isTemplate");
  return SceneVariable(std::move(id), std::move(type), std::move(title), std::move(replaced), isTemplate);
}

void JsonCoder<SceneVariable>::encode(JsonWriter& w, const SceneVariable& v) {
  w.beginObject();
  w.field("id", v.id());
  w.field("type", v.type);
  w.field("title", v.title);
  w.optionalField("_replacedText", v._replacedText);
  w.field("isTemplate", v.isTemplate);
  w.endObject();
}

}  // namespace tav
