#include "tav/scene/text_variable_resolver.hpp"

#include <memory>
#include <mutex>
#include <utility>

namespace tav {
namespace {

// The resolver is swapped as a whole under the mutex and called outside it, so a resolver that
// takes its own time (or installs another) never blocks other readers.
std::mutex& resolverMutex() {
  static std::mutex mutex;
  return mutex;
}

std::shared_ptr<const TextVariableResolver>& installedResolver() {
  static std::shared_ptr<const TextVariableResolver> resolver;
  return resolver;
}

}  // namespace

void setTextVariableResolver(TextVariableResolver resolver) {
  std::shared_ptr<const TextVariableResolver> next;
  if (resolver) next = std::make_shared<const TextVariableResolver>(std::move(resolver));
  std::lock_guard lock(resolverMutex());
  installedResolver() = std::move(next);
}

std::string resolveVariableTokens(std::string_view text) {
  std::shared_ptr<const TextVariableResolver> resolver;
  {
    std::lock_guard lock(resolverMutex());
    resolver = installedResolver();
  }
  if (!resolver) return std::string(text);
  return (*resolver)(text);
}

}  // namespace tav
