// An environment variable set for one scope, then put back as it was, also when the test fails
// part-way through the scope.
#pragma once

#include <stdlib.h>

#include <optional>
#include <string>
#include <utility>

namespace tav::testing {

class ScopedEnvironmentVariable {
 public:
  /// Sets `name` to `value`, or unsets it when there is no value.
  ScopedEnvironmentVariable(std::string name, const std::optional<std::string>& value) : name_(std::move(name)) {
    if (const char* old = ::getenv(name_.c_str())) previous_ = old;
    set(value);
  }
  ~ScopedEnvironmentVariable() { set(previous_); }
  ScopedEnvironmentVariable(const ScopedEnvironmentVariable&) = delete;
  ScopedEnvironmentVariable& operator=(const ScopedEnvironmentVariable&) = delete;

  /// Changes the value within the scope; the one from before the scope still comes back at its end.
  void set(const std::optional<std::string>& value) {
    value ? ::setenv(name_.c_str(), value->c_str(), 1) : ::unsetenv(name_.c_str());
  }

 private:
  std::string name_;
  std::optional<std::string> previous_;
};

}  // namespace tav::testing
