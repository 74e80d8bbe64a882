#include "tav/foundation/collection_helpers.hpp"

#include "tav/contracts/localizer.hpp"

namespace tav {

std::string joinedAsLocalizedList(const std::vector<std::string>& texts) {
  if (texts.empty()) return {};
  if (texts.size() == 1) return texts.front();
  const std::string conjunction = " " + localizedText("LIST_AND", "and") + " ";
  const std::string separator = localizedText("LIST_SEPARATOR", ", ");
  std::string joined = texts.front();
  for (std::size_t i = 1; i < texts.size(); ++i) {
    joined += (i + 1 == texts.size()) ? conjunction : separator;
    joined += texts[i];
  }
  return joined;
}

}  // namespace tav
