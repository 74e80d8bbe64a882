// A std::runtime_error whose copies may be released on different threads without a false race report.
//
// Errors of requests and recordings travel as values: a worker builds one, a completion or a
// notification on another thread keeps a copy. std::runtime_error keeps its text in a string whose
// reference count lives in the prebuilt standard library, out of ThreadSanitizer's sight, so whichever
// thread drops the last copy appears to free memory the other thread read without any ordering
// between them. This base keeps the text behind a std::shared_ptr instead, whose count is compiled with
// our code, and passes std::runtime_error an empty text, which the library shares without counting.
// Callers still catch these errors as std::runtime_error.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

namespace tav {

class SharedTextError : public std::runtime_error {
 public:
  explicit SharedTextError(std::string text)
      : std::runtime_error(std::string()), text_(std::make_shared<const std::string>(std::move(text))) {}

  const char* what() const noexcept override { return text_->c_str(); }

 private:
  std::shared_ptr<const std::string> text_;
};

}  // namespace tav
