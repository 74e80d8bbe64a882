#include "scene_tree.hpp"

#include <string>
#include <unordered_map>
#include <vector>

namespace tav::tool {
namespace {

std::string prefix(const Uuid& id) { return id.toString().substr(0, 8); }

std::string indent(std::size_t depth) { return std::string(2 * depth + 2, ' '); }

/// The folders around a layer, outermost first; a cycle of parents ends the walk.
std::vector<Uuid> folderPath(const Scene& scene, const SceneElement& element) {
  if (!element.groupMembership()) return {};
  std::vector<Uuid> path;
  for (const auto& id : scene.groupAncestryByGroupID(element.groupMembership()->groupID)) {
    if (scene.groups().at(id).kind == SceneElementGroupKind::folder) path.insert(path.begin(), id);
  }
  return path;
}

std::string notes(const SceneElement& element,
                  const std::unordered_map<Uuid, std::size_t>& memberCounts) {
  std::string text;
  auto add = [&text](const std::string& note) { text += (text.empty() ? "  (" : ", ") + note; };
  if (element.settings().name) add("\"" + *element.settings().name + "\"");
  if (const auto& membership = element.groupMembership(); membership && membership->role) {
    add(std::string(*membership->role == SceneElementGroupRole::splitForeground ? "split foreground"
                                                                               : "split background") +
        " of " + prefix(membership->groupID));
  }
  if (const auto* frame = element.type().frameSettings()) {
    auto count = memberCounts.find(element.id());
    std::size_t members = count == memberCounts.end() ? 0 : count->second;
    add(std::string("frame, ") + std::string(rawValue(frame->direction)) + ", " + std::to_string(members) +
        (members == 1 ? " member" : " members"));
  }
  if (element.frameID()) add("in frame " + prefix(*element.frameID()));
  if (const auto& mask = element.settings().mask; mask && mask->layerID) add("masked by " + prefix(*mask->layerID));
  if (element.settings().isHidden.value_or(false)) add("hidden");
  if (element.settings().isLocked.value_or(false)) add("locked");
  if (!text.empty()) text += ")";
  return text;
}

}  // namespace

void printSceneTree(const Scene& scene, std::ostream& out) {
  const auto& elements = scene.elements();
  std::unordered_map<Uuid, std::size_t> frameMemberCounts;
  for (const auto& element : elements) {
    if (element.frameID()) ++frameMemberCounts[*element.frameID()];
  }

  // Folder headings open and close as the layers' folder paths change; a folder whose layers are not
  // contiguous shows its heading again where it resumes.
  std::vector<Uuid> open;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& element = elements[i];
    auto path = folderPath(scene, element);
    std::size_t shared = 0;
    while (shared < open.size() && shared < path.size() && open[shared] == path[shared]) ++shared;
    open.resize(shared);
    for (std::size_t d = shared; d < path.size(); ++d) {
      const auto& group = scene.groups().at(path[d]);
      out << indent(d) << "[" << (group.isMaskGroup() ? "mask folder" : "folder") << "] "
          << group.name.value_or("Folder") << "  " << prefix(group.id) << '\n';
      open.push_back(path[d]);
    }
    out << indent(open.size()) << i << "  " << element.type().title() << "  " << prefix(element.id())
        << notes(element, frameMemberCounts) << '\n';
  }
}

}  // namespace tav::tool
