// The text of an error carried as a std::exception_ptr, for logs and completions that pass errors on.
#pragma once

#include <exception>
#include <string>

namespace tav {

/// what() of the exception held, "unknown error" for one that is not a std::exception, and "" for null.
std::string describe(const std::exception_ptr& error);

}  // namespace tav
