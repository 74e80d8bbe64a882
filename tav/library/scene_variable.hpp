// Scene variables: user-wide named values that overlay layers refer to.
//
// A text layer writes a token such as "{{firstName}}"; an image layer names a variable by its id.
// A scene stores only tokens and ids; the values live per user in the SceneVariableStore. This file
// holds the record of one variable and the seven built-in ones.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/transfer_asset_reference.hpp"

namespace tav {

/// One named value. `id` is fixed at creation (the record keeps it private): a UUID string for a user-made variable, the built-in
/// id ("FIRST_NAME_VARIABLE") for a built-in one.
struct SceneVariable {
  /// What a variable holds: a text or an image, each possibly without a value yet.
  class VariableType {
   public:
    struct Text {
      std::optional<std::string> value;
      friend bool operator==(const Text&, const Text&) = default;
    };
    struct Image {
      std::optional<TransferAssetReference> value;
      friend bool operator==(const Image&, const Image&) = default;
    };

    static VariableType text(std::optional<std::string> value = std::nullopt) { return VariableType(Text{std::move(value)}); }
    static VariableType image(std::optional<TransferAssetReference> value = std::nullopt) {
      return VariableType(Image{std::move(value)});
    }

    bool isText() const { return std::holds_alternative<Text>(payload_); }
    bool isImage() const { return std::holds_alternative<Image>(payload_); }
    /// The text payload; nullptr for an image variable.
    const Text* textCase() const { return std::get_if<Text>(&payload_); }
    const Image* imageCase() const { return std::get_if<Image>(&payload_); }

    friend bool operator==(const VariableType&, const VariableType&) = default;

   private:
    explicit VariableType(std::variant<Text, Image> payload) : payload_(std::move(payload)) {}
    std::variant<Text, Image> payload_;
  };

  SceneVariable(std::string id_, VariableType type_, std::string title_,
                std::optional<std::string> replacedText_ = std::nullopt, bool isTemplate_ = false)
      : type(std::move(type_)), title(std::move(title_)), _replacedText(std::move(replacedText_)),
        isTemplate(isTemplate_), _id(std::move(id_)) {}

  const std::string& id() const { return _id; }
  /// The token name matched in text: `_replacedText` when set, else the title, so a user-made
  /// variable's token follows its title while a built-in one keeps its token when retitled.
  const std::string& replacedText() const { return _replacedText ? *_replacedText : title; }
  /// The text value; absent for an image variable or a text variable without a value.
  std::optional<std::string> text() const;
  /// The image value; absent for a text variable or an image variable without a value.
  std::optional<TransferAssetReference> reference() const;
  bool isText() const { return type.isText(); }
  bool isImage() const { return type.isImage(); }
  void setTitle(std::string newTitle) { title = std::move(newTitle); }
  void setType(VariableType newType) { type = std::move(newType); }

  VariableType type;
  std::string title;
  std::optional<std::string> _replacedText;
  bool isTemplate = false;

  friend bool operator==(const SceneVariable&, const SceneVariable&) = default;

 private:
  std::string _id;
};

/// The seven built-in variables, in `allCases` order. The raw value is the variable's id.
enum class DefaultVariable { firstName, lastName, social, profilePicture, pronouns, email, location };

template <>
struct EnumTraits<DefaultVariable> {
  using E = DefaultVariable;
  static constexpr std::array cases{
      EnumCase<E>{E::firstName, "FIRST_NAME_VARIABLE"},   EnumCase<E>{E::lastName, "LAST_NAME_VARIABLE"},
      EnumCase<E>{E::social, "SOCIAL_VARIABLE"},          EnumCase<E>{E::profilePicture, "PROFILE_PICTURE_VARIABLE"},
      EnumCase<E>{E::pronouns, "PRONOUNS_VARIABLE"},      EnumCase<E>{E::email, "EMAIL_VARIABLE"},
      EnumCase<E>{E::location, "LOCATION_VARIABLE"},
  };
};

/// "FIRST_NAME_VARIABLE", ...
inline std::string_view id(DefaultVariable variable) { return rawValue(variable); }
/// The localised title ("First Name", "Last Name", "Tagline", "Logo", ...).
std::string title(DefaultVariable variable);
/// The localised short label ("Name" for both name variables, "Tagline", "Logo", ...).
std::string displayValue(DefaultVariable variable);
/// The hint shown in an empty field ("First name", "@handle or organisation name", ...); not localised.
std::string_view placeholder(DefaultVariable variable);
/// The token name ("firstName", "profilePicture", ...).
std::string_view replacedText(DefaultVariable variable);
/// The sample value shown while the user has set none ("John", "Appleseed", ...); empty for the logo.
std::string_view defaultValue(DefaultVariable variable);
/// The variable of a built-in case: an image variable for the logo, text for the others, no value,
/// the localised title, the case's token, and `isTemplate` true.
SceneVariable variable(DefaultVariable variable);

/// JSON {"text": {"_0": "..."}} or {"image": {"_0": {...}}}; the inner object is empty without a
/// value. Any number of outer keys other than one is refused.
template <>
struct JsonCoder<SceneVariable::VariableType> {
  static SceneVariable::VariableType decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneVariable::VariableType& v);
};

/// JSON keys in order: "id", "type", "title", "_replacedText" (only when set), "isTemplate". All but
/// "_replacedText" are required.
template <>
struct JsonCoder<SceneVariable> {
  static SceneVariable decode(const JsonValue& json, const JsonPath& path);
  static void encode(JsonWriter& w, const SceneVariable& v);
};

}  // namespace tav
