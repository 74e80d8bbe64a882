#include "scene_tree.hpp"

#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tav::tool {
namespace {

std::string prefix(const Uuid& id) { return id.toString().substr(0, 8); }

// Past this depth the indentation stops growing and the depth is written out instead, so a document
// nested a hundred thousand deep prints in its own size, not in the square of it.
constexpr std::size_t kMaxIndentedDepth = 32;

std::string indent(std::size_t depth) {
  if (depth <= kMaxIndentedDepth) return std::string(2 * depth + 2, ' ');
  return std::string(2 * kMaxIndentedDepth + 2, ' ') + "(depth " + std::to_string(depth) + ") ";
}

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

/// The folders of a format as a forest: for each group, the innermost folder at or above it, and for
/// each folder the innermost folder above it, found once for all layers. Groups of other kinds pass
/// their folders through. A cycle of parents (a damaged document) is cut where the walk comes back.
class FolderForest {
 public:
  explicit FolderForest(const SceneElementGroupMap& groups) {
    for (const auto& [groupID, group] : groups) {
      slots_.emplace(groupID, ids_.size());
      ids_.push_back(groupID);
    }
    std::vector<std::size_t> parent(ids_.size(), kNone);
    std::size_t slot = 0;
    for (const auto& [groupID, group] : groups) {
      isFolder_.push_back(group.kind == SceneElementGroupKind::folder);
      if (group.parentGroupID) parent[slot] = slotOf(*group.parentGroupID);
      ++slot;
    }
    // Each group is resolved once: walk up to a resolved group (or the top, or back onto this walk),
    // then hand the answer down the walk.
    enum State : std::uint8_t { unvisited, onWalk, resolved };
    std::vector<State> state(ids_.size(), unvisited);
    innermost_.assign(ids_.size(), kNone);
    above_.assign(ids_.size(), kNone);
    std::vector<std::size_t> walk;
    for (std::size_t start = 0; start < ids_.size(); ++start) {
      std::size_t at = start;
      while (at != kNone && state[at] == unvisited) {
        state[at] = onWalk;
        walk.push_back(at);
        at = parent[at];
      }
      std::size_t outer = at != kNone && state[at] == resolved ? innermost_[at] : kNone;
      for (auto it = walk.rbegin(); it != walk.rend(); ++it) {
        above_[*it] = outer;
        innermost_[*it] = isFolder_[*it] ? *it : outer;
        outer = innermost_[*it];
        state[*it] = resolved;
      }
      walk.clear();
    }
    numberFolders();
  }

  std::size_t slotOf(const Uuid& groupID) const {
    auto it = slots_.find(groupID);
    return it == slots_.end() ? kNone : it->second;
  }
  /// The innermost folder at or above `slot`.
  std::size_t innermostFolder(std::size_t slot) const { return slot == kNone ? kNone : innermost_[slot]; }
  /// The innermost folder strictly above folder `slot`.
  std::size_t folderAbove(std::size_t slot) const { return above_[slot]; }
  /// How many folders folder `slot` lies in.
  std::size_t depth(std::size_t slot) const { return depth_[slot]; }
  /// Whether folder `outer` is folder `inner` or lies around it.
  bool encloses(std::size_t outer, std::size_t inner) const {
    return enter_[outer] <= enter_[inner] && leave_[inner] <= leave_[outer];
  }
  const Uuid& id(std::size_t slot) const { return ids_[slot]; }

 private:
  // Numbers the folders in the order a depth-first walk enters and leaves them, so that whether one
  // folder lies in another is two comparisons; and counts each folder's depth.
  void numberFolders() {
    const std::size_t n = ids_.size();
    std::vector<std::vector<std::size_t>> inside(n);
    std::vector<std::size_t> roots;
    for (std::size_t slot = 0; slot < n; ++slot) {
      if (!isFolder_[slot]) continue;
      (above_[slot] == kNone ? roots : inside[above_[slot]]).push_back(slot);
    }
    enter_.assign(n, 0);
    leave_.assign(n, 0);
    depth_.assign(n, 0);
    std::size_t clock = 0;
    std::vector<std::pair<std::size_t, std::size_t>> stack;  // folder, next child
    for (std::size_t root : roots) {
      enter_[root] = clock++;
      stack.emplace_back(root, 0);
      while (!stack.empty()) {
        auto& [folder, next] = stack.back();
        if (next == inside[folder].size()) {
          leave_[folder] = clock++;
          stack.pop_back();
          continue;
        }
        const std::size_t child = inside[folder][next++];
        depth_[child] = depth_[folder] + 1;
        enter_[child] = clock++;
        stack.emplace_back(child, 0);
      }
    }
  }

  std::vector<Uuid> ids_;
  std::unordered_map<Uuid, std::size_t> slots_;
  std::vector<bool> isFolder_;
  std::vector<std::size_t> innermost_;
  std::vector<std::size_t> above_;
  std::vector<std::size_t> enter_;
  std::vector<std::size_t> leave_;
  std::vector<std::size_t> depth_;
};

// A layer that resumes a folder shows at most this many of the headings around it again; the
// enclosing ones are summed up in one line, so interleaved deep folders print in linear size.
constexpr std::size_t kMaxHeadingsResumed = 8;

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
  // contiguous shows its heading again where it resumes. The open headings are the folders around the
  // last layer's folder, so a layer walks up only to the first of them, and at most a few steps.
  const FolderForest forest(scene.groups());
  std::size_t openFolder = kNone;  // the innermost open heading; every folder around it is open too
  std::vector<std::size_t> opening;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    const auto& element = elements[i];
    const std::size_t folder = element.groupMembership()
                                   ? forest.innermostFolder(forest.slotOf(element.groupMembership()->groupID))
                                   : kNone;
    opening.clear();
    std::size_t at = folder;
    while (at != kNone && !(openFolder != kNone && forest.encloses(at, openFolder)) &&
           opening.size() < kMaxHeadingsResumed) {
      opening.push_back(at);
      at = forest.folderAbove(at);
    }
    if (at != kNone && !(openFolder != kNone && forest.encloses(at, openFolder))) {
      out << indent(forest.depth(at)) << "[... " << forest.depth(at) + 1 << " enclosing folders]\n";
    }
    for (auto it = opening.rbegin(); it != opening.rend(); ++it) {
      const auto& group = scene.groups().at(forest.id(*it));
      out << indent(forest.depth(*it)) << "[" << (group.isMaskGroup() ? "mask folder" : "folder") << "] "
          << group.name.value_or("Folder") << "  " << prefix(group.id) << '\n';
    }
    openFolder = folder;
    const std::size_t layerDepth = folder == kNone ? 0 : forest.depth(folder) + 1;
    out << indent(layerDepth) << i << "  " << element.type().title() << "  " << prefix(element.id())
        << notes(element, frameMemberCounts) << '\n';
  }
}

}  // namespace tav::tool
