#include "tav/contracts/snake_case_keys.hpp"

namespace tav {
namespace {

bool isUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool isLower(char c) { return c >= 'a' && c <= 'z'; }
bool isDigit(char c) { return c >= '0' && c <= '9'; }
char toLower(char c) { return isUpper(c) ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

std::string convertToSnakeCase(std::string_view key) {
  std::string out;
  out.reserve(key.size() + 4);
  for (std::size_t i = 0; i < key.size(); ++i) {
    const char c = key[i];
    if (isUpper(c) && i > 0) {
      const char before = key[i - 1];
      const bool afterLowerOrDigit = isLower(before) || isDigit(before);
      // The last capital of a run starts the next word when a lower-case letter follows it.
      const bool endsCapitalRun = isUpper(before) && i + 1 < key.size() && isLower(key[i + 1]);
      if ((afterLowerOrDigit || endsCapitalRun) && out.back() != '_') out += '_';
    }
    out += toLower(c);
  }
  return out;
}

void convertKeysToSnakeCase(JsonValue& json) {
  if (json.is_array()) {
    for (auto& element : json.get_array()) convertKeysToSnakeCase(element);
    return;
  }
  if (!json.is_object()) return;
  JsonObject& object = json.get_object();
  JsonObject converted(object.storage());
  converted.reserve(object.size());
  for (auto& member : object) {
    convertKeysToSnakeCase(member.value());
    converted[convertToSnakeCase(member.key())] = std::move(member.value());
  }
  object = std::move(converted);
}

}  // namespace tav
