// Any value that has a JsonCoder, behind one type, as event payloads are carried.
#pragma once

#include <memory>
#include <string>
#include <utility>

#include "tav/contracts/json_coder.hpp"

namespace tav {

/// Holds a copy of any JSON-encodable value and writes it on request. Immutable and cheap to copy (the
/// copies share the value), so it may be handed between threads freely.
class AnyEncodable {
 public:
  template <class T>
  explicit AnyEncodable(T value) : box_(std::make_shared<const Box<T>>(std::move(value))) {}

  /// Writes the held value through its JsonCoder.
  void encode(JsonWriter& writer) const { box_->encode(writer); }

 private:
  struct Concept {
    virtual ~Concept() = default;
    virtual void encode(JsonWriter& writer) const = 0;
  };
  template <class T>
  struct Box final : Concept {
    explicit Box(T v) : value(std::move(v)) {}
    void encode(JsonWriter& writer) const override { writer.value(value); }
    T value;
  };

  std::shared_ptr<const Concept> box_;
};

template <>
struct JsonCoder<AnyEncodable> {
  static void encode(JsonWriter& w, const AnyEncodable& v) { v.encode(w); }
};

}  // namespace tav
