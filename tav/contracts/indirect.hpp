// Values kept on the heap but copied, compared and hashed as values, like a Swift `indirect` case.
//
// Layers are copied as plain values many times per edit; the bulky parts that most layers lack or
// rarely touch (a kind's payload, a frame layout) live behind one pointer, so a layer stays small
// and the structure passes walk memory that fits in cache.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace tav {

/// Always holds a T (except after being moved from, when only assignment and destruction are valid).
template <class T>
class Indirect {
 public:
  Indirect() : value_(std::make_unique<T>()) {}
  Indirect(T value) : value_(std::make_unique<T>(std::move(value))) {}
  Indirect(const Indirect& other) : value_(std::make_unique<T>(*other.value_)) {}
  Indirect(Indirect&&) noexcept = default;
  Indirect& operator=(const Indirect& other) {
    if (this != &other) value_ = std::make_unique<T>(*other.value_);
    return *this;
  }
  Indirect& operator=(Indirect&&) noexcept = default;

  const T& operator*() const { return *value_; }
  T& operator*() { return *value_; }
  const T* operator->() const { return value_.get(); }
  T* operator->() { return value_.get(); }

  friend bool operator==(const Indirect& a, const Indirect& b) { return *a.value_ == *b.value_; }

 private:
  std::unique_ptr<T> value_;
};

/// std::optional's interface over a heap-held value: 8 bytes when absent or present.
template <class T>
class OptionalIndirect {
 public:
  OptionalIndirect() = default;
  OptionalIndirect(std::nullopt_t) {}
  OptionalIndirect(T value) : value_(std::make_unique<T>(std::move(value))) {}
  OptionalIndirect(const std::optional<T>& value) {
    if (value) value_ = std::make_unique<T>(*value);
  }
  OptionalIndirect(std::optional<T>&& value) {
    if (value) value_ = std::make_unique<T>(std::move(*value));
  }
  OptionalIndirect(const OptionalIndirect& other) {
    if (other.value_) value_ = std::make_unique<T>(*other.value_);
  }
  OptionalIndirect(OptionalIndirect&&) noexcept = default;
  OptionalIndirect& operator=(const OptionalIndirect& other) {
    if (this != &other) value_ = other.value_ ? std::make_unique<T>(*other.value_) : nullptr;
    return *this;
  }
  OptionalIndirect& operator=(OptionalIndirect&&) noexcept = default;

  bool has_value() const { return value_ != nullptr; }
  explicit operator bool() const { return has_value(); }
  const T& operator*() const { return *value_; }
  T& operator*() { return *value_; }
  const T* operator->() const { return value_.get(); }
  T* operator->() { return value_.get(); }
  const T& value() const {
    if (!value_) throw std::bad_optional_access();
    return *value_;
  }
  void reset() { value_.reset(); }
  template <class... Args>
  T& emplace(Args&&... args) {
    value_ = std::make_unique<T>(std::forward<Args>(args)...);
    return *value_;
  }
  /// A std::optional copy of the value.
  std::optional<T> toOptional() const { return value_ ? std::optional<T>(*value_) : std::nullopt; }

  friend bool operator==(const OptionalIndirect& a, const OptionalIndirect& b) {
    if (!a.value_ || !b.value_) return !a.value_ && !b.value_;
    return *a.value_ == *b.value_;
  }
  friend bool operator==(const OptionalIndirect& a, std::nullopt_t) { return !a.value_; }
  friend bool operator==(const OptionalIndirect& a, const T& b) { return a.value_ && *a.value_ == b; }

 private:
  std::unique_ptr<T> value_;
};

}  // namespace tav

template <class T>
struct std::hash<tav::Indirect<T>> {
  std::size_t operator()(const tav::Indirect<T>& v) const noexcept { return std::hash<T>()(*v); }
};

template <class T>
struct std::hash<tav::OptionalIndirect<T>> {
  std::size_t operator()(const tav::OptionalIndirect<T>& v) const noexcept {
    return v ? std::hash<T>()(*v) : 0x5bd1e995;
  }
};
