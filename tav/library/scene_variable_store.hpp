// The user's list of scene variables and the operations that resolve tokens in text.
//
// One persisted array of variables per store, under the defaults key "OverlayVariables". The shared
// store works on the standard defaults and the default notification center, and installs itself as the
// resolver of text layers' tokens when it is first made; a store built with its own collaborators (as
// tests do) installs itself only when asked.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/notification_center.hpp"
#include "tav/contracts/user_defaults.hpp"
#include "tav/foundation/codable_user_default.hpp"
#include "tav/library/scene_variable.hpp"

namespace tav {

class Scene;

/// A range of text in UTF-16 code units, the unit that token ranges are exchanged in.
struct Utf16Range {
  std::size_t location = 0;
  std::size_t length = 0;
  friend bool operator==(const Utf16Range&, const Utf16Range&) = default;
};

/// The store's one error.
class SceneVariableError : public std::runtime_error {
 public:
  enum class Case { titleInUse };
  explicit SceneVariableError(Case c) : std::runtime_error("titleInUse"), case_(c) {}
  Case errorCase() const { return case_; }

 private:
  Case case_;
};

/// Owned by whoever makes it (the shared one lives for the process). The store has no lock of its own:
/// each operation reads the whole array, changes it and writes it back, so callers keep all changes to
/// one thread or queue. Reads and the token operations may run anywhere.
class SceneVariableStore {
 public:
  using VariableError = SceneVariableError;

  static constexpr std::string_view variablesKey = "OverlayVariables";
  static constexpr std::string_view variableUpdatedNotificationName =
      "Tavo.App.SceneVariableStore.VariableUpdatedNotificationName.Name";
  static constexpr std::string_view variablesChangedNotificationName =
      "Tavo.App.SceneVariableStore.VariablesChangedNotificationName.Name";

  /// A token found in text: the cleaned word and the whole match's range, braces included.
  struct PotentialVariable {
    std::string word;
    Utf16Range range;
    friend bool operator==(const PotentialVariable&, const PotentialVariable&) = default;
  };

  /// A store over `userDefaults` posting to `notificationCenter` (which must outlive the store).
  /// Throws std::invalid_argument for a null store.
  explicit SceneVariableStore(std::shared_ptr<UserDefaults> userDefaults,
                              NotificationCenter& notificationCenter = NotificationCenter::defaultCenter());
  SceneVariableStore(const SceneVariableStore&) = delete;
  SceneVariableStore& operator=(const SceneVariableStore&) = delete;
  /// Uninstalls the text resolver if this store installed it.
  ~SceneVariableStore();

  /// The process-wide store on UserDefaults::standard(); installed as the text resolver on first use.
  static SceneVariableStore& shared();

  /// Makes text layers resolve their tokens through this store until it is destroyed or another
  /// resolver is installed.
  void installAsTextResolver();

  /// The whole array; the seven built-in variables while nothing is stored.
  std::vector<SceneVariable> variables() const { return storage_.get(); }
  /// Writes the whole array at once; posts nothing.
  void setVariables(const std::vector<SceneVariable>& variables) { storage_.set(variables); }
  std::vector<SceneVariable> textVariables() const;
  std::vector<SceneVariable> imageVariables() const;

  /// The first stored variable with exactly this id.
  std::optional<SceneVariable> variableFor(std::string_view id) const;
  /// The stored variable of the built-in case, else its fresh `variable(DefaultVariable)`.
  SceneVariable variableFor(DefaultVariable defaultVariable) const;
  /// The first stored variable whose token, lowercased, equals `text` lowercased.
  std::optional<SceneVariable> variableWithText(std::string_view text) const;

  /// Appends a user-made variable titled "variable" (or "variable1", "variable2", ... when taken),
  /// writes, and posts variables-changed.
  void addVariable(SceneVariable::VariableType type);
  /// Removes every variable with `id`, writes, and posts variables-changed even when none matched.
  void removeVariable(std::string_view id);
  /// Gives the built-in variable `type`, replacing its stored entry or appending it; posts
  /// variable-updated.
  void set(DefaultVariable defaultVariable, SceneVariable::VariableType type);
  /// Retitles the stored entry with the variable's id. Throws SceneVariableError(titleInUse) when any
  /// stored title equals `title` ignoring case, the variable's own included. Posts nothing.
  void update(const SceneVariable& variable, const std::string& title);
  /// Gives the stored entry with the variable's id `type` (stores nothing when there is none); posts
  /// variable-updated either way.
  void update(const SceneVariable& variable, SceneVariable::VariableType type);

  /// Every token `{{...}}` in text order, with its word (braces removed, ends trimmed).
  static std::vector<PotentialVariable> potentialVariables(std::string_view text);
  /// `text` with the token at `range` (from potentialVariables on the same text) replaced by the value
  /// of the variable named `word`, or by the built-in sample value when a built-in one has none. Text
  /// that cannot be resolved comes back unchanged. Throws std::out_of_range for a range outside the
  /// text.
  std::string replace(std::string_view word, std::string_view text, Utf16Range range) const;
  /// `text` with every token of a text variable with a value replaced; any other token is removed
  /// when `prefersBlank`, else kept.
  std::string replace(std::string_view text, bool prefersBlank) const;
  /// Whether any token of `text` names a stored variable. `variable` does not take part.
  bool textMatchesVariable(std::string_view text, const SceneVariable& variable) const;
  /// What the routed format of `scene` refers to but has no value for, in element order, duplicates kept.
  std::vector<std::string> undefinedVariables(const Scene& scene) const;

  /// A text layer's text as it is shown: each token replaced as `replace(word, text, range)` does,
  /// from the last to the first.
  std::string resolveTokens(std::string_view text) const;

 private:
  void postVariableUpdated(const std::string& id);
  void postVariablesChanged();

  CodableUserDefault<std::vector<SceneVariable>> storage_;
  NotificationCenter& notificationCenter_;
  bool installedResolver_ = false;
};

}  // namespace tav
