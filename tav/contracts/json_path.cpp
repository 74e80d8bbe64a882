#include "tav/contracts/json_path.hpp"

namespace tav {

std::string JsonPath::toString() const {
  if (isRoot()) return "(document)";
  std::string out;
  append(out);
  return out;
}

void JsonPath::append(std::string& out) const {
  if (isRoot()) return;
  parent_->append(out);
  if (isIndex_) {
    out += '[';
    out += std::to_string(index_);
    out += ']';
    return;
  }
  if (!out.empty()) out += '.';
  out += key_;
}

}  // namespace tav
