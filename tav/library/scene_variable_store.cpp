#include "tav/library/scene_variable_store.hpp"

#include <algorithm>
#include <mutex>
#include <utility>

#include "tav/contracts/uuid.hpp"
#include "tav/scene/scene.hpp"
#include "tav/scene/text_variable_resolver.hpp"

namespace tav {
namespace {

// A token is "{{", at least one byte that is not "}", then "}}". The candidate run cannot hold a "}",
// so a match at a position is decided without backtracking; a failed position moves on by one byte,
// and a match resumes the search after its end. Braces are ASCII, so byte offsets stay on character
// boundaries of UTF-8 text.
struct ByteRange {
  std::size_t begin = 0;
  std::size_t end = 0;
};

std::vector<ByteRange> findTokens(std::string_view text) {
  std::vector<ByteRange> result;
  const std::size_t n = text.size();
  std::size_t i = 0;
  while (i + 5 <= n) {  // the shortest token, "{{a}}", has five bytes
    const std::size_t open = text.find("{{", i);
    if (open == std::string_view::npos || open + 5 > n) break;
    std::size_t j = open + 2;
    while (j < n && text[j] != '}') ++j;
    if (j > open + 2 && j + 1 < n && text[j + 1] == '}') {
      result.push_back({open, j + 2});
      i = j + 2;
    } else {
      i = open + 1;
    }
  }
  return result;
}

std::size_t utf16Units(unsigned char byte) {
  if ((byte & 0xC0) == 0x80) return 0;  // continuation byte
  return byte >= 0xF0 ? 2 : 1;          // four-byte sequences are surrogate pairs
}

std::size_t utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (char c : text) units += utf16Units(static_cast<unsigned char>(c));
  return units;
}

// The byte offset of a UTF-16 offset; throws when it is past the end or splits a character.
std::size_t byteOffset(std::string_view text, std::size_t utf16Offset) {
  std::size_t units = 0;
  std::size_t i = 0;
  while (units < utf16Offset && i < text.size()) {
    units += utf16Units(static_cast<unsigned char>(text[i]));
    ++i;
    while (i < text.size() && (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80) ++i;
  }
  if (units != utf16Offset) throw std::out_of_range("range does not lie on character boundaries of the text");
  return i;
}

// Decodes the code point starting at `i`; `length` receives its byte count.
char32_t decodeAt(std::string_view s, std::size_t i, std::size_t& length) {
  const auto b0 = static_cast<unsigned char>(s[i]);
  std::size_t count = b0 < 0x80 ? 1 : b0 < 0xE0 ? 2 : b0 < 0xF0 ? 3 : 4;
  if (i + count > s.size()) count = 1;
  char32_t cp = count == 1 ? b0 : count == 2 ? (b0 & 0x1Fu) : count == 3 ? (b0 & 0x0Fu) : (b0 & 0x07u);
  for (std::size_t k = 1; k < count; ++k) cp = (cp << 6) | (static_cast<unsigned char>(s[i + k]) & 0x3Fu);
  length = count;
  return cp;
}

void appendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

// White space and line breaks as the platform's text trimming knows them: the space separators,
// the ASCII controls tab to carriage return, next line, and the line and paragraph separators.
bool isWhitespaceOrNewline(char32_t cp) {
  return (cp >= 0x09 && cp <= 0x0D) || cp == 0x20 || cp == 0x85 || cp == 0xA0 || cp == 0x1680 ||
         (cp >= 0x2000 && cp <= 0x200A) || cp == 0x2028 || cp == 0x2029 || cp == 0x202F || cp == 0x205F ||
         cp == 0x3000;
}

std::string_view trimmed(std::string_view s) {
  std::size_t begin = 0;
  while (begin < s.size()) {
    std::size_t length = 0;
    if (!isWhitespaceOrNewline(decodeAt(s, begin, length))) break;
    begin += length;
  }
  std::size_t end = s.size();
  while (end > begin) {
    std::size_t start = end - 1;
    while (start > begin && (static_cast<unsigned char>(s[start]) & 0xC0) == 0x80) --start;
    std::size_t length = 0;
    if (!isWhitespaceOrNewline(decodeAt(s, start, length))) break;
    end = start;
  }
  return s.substr(begin, end - begin);
}

// Lower case for the scripts people name their variables in: the ASCII, Latin-1, basic Greek and
// Cyrillic capitals. Other characters are kept.
char32_t lowercased(char32_t cp) {
  if (cp >= 'A' && cp <= 'Z') return cp + 32;
  if (cp < 0x80) return cp;
  if ((cp >= 0xC0 && cp <= 0xDE && cp != 0xD7)) return cp + 32;
  if ((cp >= 0x391 && cp <= 0x3A9 && cp != 0x3A2)) return cp + 32;
  if (cp >= 0x410 && cp <= 0x42F) return cp + 32;
  if (cp >= 0x400 && cp <= 0x40F) return cp + 80;
  return cp;
}

std::string lowercased(std::string_view s) {
  std::string out;
  out.reserve(s.size());
  for (std::size_t i = 0; i < s.size();) {
    std::size_t length = 0;
    const char32_t cp = decodeAt(s, i, length);
    if (cp < 0x80) {
      out += static_cast<char>(lowercased(cp));
    } else {
      appendUtf8(out, lowercased(cp));
    }
    i += length;
  }
  return out;
}

std::string withoutChars(std::string_view s, std::string_view removed) {
  std::string out;
  out.reserve(s.size());
  for (char c : s) {
    if (removed.find(c) == std::string_view::npos) out += c;
  }
  return out;
}

// The word of a token as potentialVariables reports it: braces gone, ends trimmed, inner spaces kept.
std::string potentialWord(std::string_view match) { return std::string(trimmed(withoutChars(match, "{}"))); }

// The word of a token as replacement looks it up: braces and every space gone.
std::string lookupWord(std::string_view match) { return withoutChars(match, "{} "); }

// A text value worth showing: set, and not blank once trimmed.
std::optional<std::string> shownText(const SceneVariable& variable) {
  const auto* text = variable.type.textCase();
  if (text == nullptr || !text->value) return std::nullopt;
  std::string_view value = trimmed(*text->value);
  if (value.empty()) return std::nullopt;
  return std::string(value);
}

std::mutex& resolverOwnerMutex() {
  static std::mutex mutex;
  return mutex;
}
const SceneVariableStore*& resolverOwner() {
  static const SceneVariableStore* owner = nullptr;
  return owner;
}

}  // namespace

SceneVariableStore::SceneVariableStore(std::shared_ptr<UserDefaults> userDefaults, NotificationCenter& notificationCenter)
    : storage_(std::string(variablesKey),
               [] {
                 std::vector<SceneVariable> defaults;
                 for (DefaultVariable v : allCases<DefaultVariable>()) defaults.push_back(variable(v));
                 return defaults;
               }(),
               std::move(userDefaults)),
      notificationCenter_(notificationCenter) {}

SceneVariableStore::~SceneVariableStore() {
  std::lock_guard lock(resolverOwnerMutex());
  if (resolverOwner() == this) {
    setTextVariableResolver({});
    resolverOwner() = nullptr;
  }
}

SceneVariableStore& SceneVariableStore::shared() {
  static SceneVariableStore* store = [] {
    auto* s = new SceneVariableStore(UserDefaults::standard());  // lives for the process
    s->installAsTextResolver();
    return s;
  }();
  return *store;
}

void SceneVariableStore::installAsTextResolver() {
  std::lock_guard lock(resolverOwnerMutex());
  setTextVariableResolver([this](std::string_view text) { return resolveTokens(text); });
  resolverOwner() = this;
}

std::vector<SceneVariable> SceneVariableStore::textVariables() const {
  std::vector<SceneVariable> result;
  for (auto& v : variables()) {
    if (v.isText()) result.push_back(std::move(v));
  }
  return result;
}

std::vector<SceneVariable> SceneVariableStore::imageVariables() const {
  std::vector<SceneVariable> result;
  for (auto& v : variables()) {
    if (v.isImage()) result.push_back(std::move(v));
  }
  return result;
}

std::optional<SceneVariable> SceneVariableStore::variableFor(std::string_view id) const {
  for (auto& v : variables()) {
    if (v.id() == id) return std::move(v);
  }
  return std::nullopt;
}

SceneVariable SceneVariableStore::variableFor(DefaultVariable defaultVariable) const {
  if (auto stored = variableFor(id(defaultVariable))) return *std::move(stored);
  return variable(defaultVariable);
}

std::optional<SceneVariable> SceneVariableStore::variableWithText(std::string_view text) const {
  const std::string wanted = lowercased(text);
  for (auto& v : variables()) {
    if (lowercased(v.replacedText()) == wanted) return std::move(v);
  }
  return std::nullopt;
}

void SceneVariableStore::addVariable(SceneVariable::VariableType type) {
  auto all = variables();
  std::string title = "variable";
  for (int counter = 1; std::any_of(all.begin(), all.end(), [&](const SceneVariable& v) { return v.title == title; });
       ++counter) {
    title = "variable" + std::to_string(counter);
  }
  all.emplace_back(Uuid::random().toString(), std::move(type), std::move(title), std::nullopt, false);
  setVariables(all);
  postVariablesChanged();
}

void SceneVariableStore::removeVariable(std::string_view id) {
  auto all = variables();
  std::erase_if(all, [&](const SceneVariable& v) { return v.id() == id; });
  setVariables(all);
  postVariablesChanged();
}

void SceneVariableStore::set(DefaultVariable defaultVariable, SceneVariable::VariableType type) {
  SceneVariable updated = variableFor(defaultVariable);
  updated.setType(std::move(type));
  auto all = variables();
  auto it = std::find_if(all.begin(), all.end(), [&](const SceneVariable& v) { return v.id() == updated.id(); });
  if (it != all.end()) {
    *it = updated;
  } else {
    all.push_back(updated);
  }
  setVariables(all);
  postVariableUpdated(updated.id());
}

void SceneVariableStore::update(const SceneVariable& variable, const std::string& title) {
  auto all = variables();
  const std::string wanted = lowercased(title);
  for (const auto& v : all) {
    if (lowercased(v.title) == wanted) throw SceneVariableError(SceneVariableError::Case::titleInUse);
  }
  SceneVariable updated = variable;
  updated.setTitle(title);
  auto it = std::find_if(all.begin(), all.end(), [&](const SceneVariable& v) { return v.id() == updated.id(); });
  if (it != all.end()) {
    *it = std::move(updated);
    setVariables(all);
  }
}

void SceneVariableStore::update(const SceneVariable& variable, SceneVariable::VariableType type) {
  SceneVariable updated = variable;
  updated.setType(std::move(type));
  auto all = variables();
  auto it = std::find_if(all.begin(), all.end(), [&](const SceneVariable& v) { return v.id() == updated.id(); });
  if (it != all.end()) {
    *it = updated;
    setVariables(all);
  }
  postVariableUpdated(updated.id());
}

std::vector<SceneVariableStore::PotentialVariable> SceneVariableStore::potentialVariables(std::string_view text) {
  std::vector<PotentialVariable> result;
  std::size_t bytesCounted = 0;
  std::size_t unitsCounted = 0;
  for (const ByteRange& match : findTokens(text)) {
    unitsCounted += utf16Length(text.substr(bytesCounted, match.begin - bytesCounted));
    bytesCounted = match.begin;
    const std::string_view matched = text.substr(match.begin, match.end - match.begin);
    result.push_back({potentialWord(matched), Utf16Range{unitsCounted, utf16Length(matched)}});
  }
  return result;
}

std::string SceneVariableStore::replace(std::string_view word, std::string_view text, Utf16Range range) const {
  const std::size_t begin = byteOffset(text, range.location);
  const std::size_t end = begin + byteOffset(text.substr(begin), range.length);
  auto replaced = [&](std::string_view value) {
    std::string out;
    out.reserve(text.size() - (end - begin) + value.size());
    out.append(text.substr(0, begin)).append(value).append(text.substr(end));
    return out;
  };
  const auto found = variableWithText(word);
  if (!found || found->isImage()) return std::string(text);
  if (auto value = shownText(*found)) return replaced(*value);
  if (auto builtIn = enumFromRawValue<DefaultVariable>(found->id())) return replaced(defaultValue(*builtIn));
  return std::string(text);
}

std::string SceneVariableStore::replace(std::string_view text, bool prefersBlank) const {
  const auto matches = findTokens(text);
  if (matches.empty()) return std::string(text);
  std::string out(text);
  for (auto it = matches.rbegin(); it != matches.rend(); ++it) {
    const auto found = variableWithText(lookupWord(text.substr(it->begin, it->end - it->begin)));
    std::optional<std::string> value = found ? shownText(*found) : std::nullopt;
    if (value) {
      out.replace(it->begin, it->end - it->begin, *value);
    } else if (prefersBlank) {
      out.erase(it->begin, it->end - it->begin);
    }
  }
  return out;
}

bool SceneVariableStore::textMatchesVariable(std::string_view text, const SceneVariable&) const {
  const auto matches = findTokens(text);
  for (auto it = matches.rbegin(); it != matches.rend(); ++it) {
    if (variableWithText(lookupWord(text.substr(it->begin, it->end - it->begin)))) return true;
  }
  return false;
}

std::vector<std::string> SceneVariableStore::undefinedVariables(const Scene& scene) const {
  std::vector<std::string> result;
  const SceneFormat* format = scene.format(scene.aspectRatio());
  if (format == nullptr) return result;
  std::optional<std::vector<SceneVariable>> images;  // read once, on the first image layer
  for (const SceneElement& element : format->elements) {
    const SceneElementType& type = element.type();
    if (const auto* textSettings = type.textSettings()) {
      if (!textSettings->text) continue;
      for (auto& potential : potentialVariables(*textSettings->text)) {
        const auto found = variableWithText(potential.word);
        const auto* textCase = found ? found->type.textCase() : nullptr;
        if (textCase != nullptr && textCase->value && !textCase->value->empty()) continue;
        result.push_back(std::move(potential.word));
      }
    } else if (const auto* imageSettings = type.imageSettings()) {
      if (!imageSettings->variable) continue;
      const std::string& wanted = *imageSettings->variable;
      if (wanted == id(DefaultVariable::profilePicture)) continue;
      if (!images) images = imageVariables();
      auto it = std::find_if(images->begin(), images->end(), [&](const SceneVariable& v) { return v.id() == wanted; });
      if (it == images->end()) {
        result.push_back(wanted);
      } else if (!it->reference()) {
        result.push_back(it->replacedText());
      }
    }
  }
  return result;
}

std::string SceneVariableStore::resolveTokens(std::string_view text) const {
  const auto tokens = potentialVariables(text);
  if (tokens.empty()) return std::string(text);
  std::string out(text);
  for (auto it = tokens.rbegin(); it != tokens.rend(); ++it) out = replace(it->word, out, it->range);
  return out;
}

void SceneVariableStore::postVariableUpdated(const std::string& id) {
  notificationCenter_.post(std::string(variableUpdatedNotificationName), nullptr, {{"id", id}});
}

void SceneVariableStore::postVariablesChanged() {
  notificationCenter_.post(std::string(variablesChangedNotificationName));
}

}  // namespace tav
