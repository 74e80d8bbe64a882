// Where a decoder stands in a JSON document, for error messages such as
// "elements[3].settings.cornerRadius: expected an integer".
//
// A path is a chain of small nodes that live on the decoder's own stack, so following a document costs
// nothing until an error has to be reported.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tav {

class JsonPath {
 public:
  /// The document itself.
  static JsonPath root() { return JsonPath(); }

  /// The value under `key` of the object at this path. The returned node refers to `*this` and to the
  /// characters of `key`: both must outlive it.
  JsonPath key(std::string_view key) const& { return JsonPath(this, key, 0, false); }
  /// The element at `index` of the array at this path. Refers to `*this`.
  JsonPath index(std::size_t index) const& { return JsonPath(this, {}, index, true); }
  // A child of a temporary would outlive its parent: name each step of a longer path.
  JsonPath key(std::string_view) const&& = delete;
  JsonPath index(std::size_t) const&& = delete;

  bool isRoot() const { return parent_ == nullptr; }

  /// "elements[3].settings.cornerRadius"; the root alone is "(document)".
  std::string toString() const;

 private:
  JsonPath() = default;
  JsonPath(const JsonPath* parent, std::string_view key, std::size_t index, bool isIndex)
      : parent_(parent), key_(key), index_(index), isIndex_(isIndex) {}

  void append(std::string& out) const;

  const JsonPath* parent_ = nullptr;
  std::string_view key_;
  std::size_t index_ = 0;
  bool isIndex_ = false;
};

}  // namespace tav
