// The structure passes against the step-by-step rules they implement, on many small random formats
// (cycles of parents and frames, shared ids, split groups inside folders), and on nesting far deeper
// than a walk per layer or a recursion could take.
#include <algorithm>
#include <map>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "tav/structure/group_member_counts.hpp"
#include "tav/testing/scene_builders.hpp"

namespace tav {
namespace {

using namespace testing;

// --- the rules, one step at a time ------------------------------------------------------------------

std::vector<Uuid> ancestry(const SceneElementGroupMap& groups, Uuid start) {
  std::vector<Uuid> walk;
  std::optional<Uuid> current = start;
  while (current && groups.contains(*current) &&
         std::find(walk.begin(), walk.end(), *current) == walk.end()) {
    walk.push_back(*current);
    current = groups.at(*current).parentGroupID;
  }
  return walk;
}

std::map<Uuid, int> stepwiseMemberCounts(const Scene& scene) {
  std::map<Uuid, int> counts;
  for (const auto& element : scene.elements()) {
    if (!element.groupMembership()) continue;
    for (const Uuid& group : ancestry(scene.groups(), element.groupMembership()->groupID)) ++counts[group];
  }
  return counts;
}

void stepwiseGather(std::vector<SceneElement>& elements, const SceneElementGroupMap& groups) {
  std::vector<std::pair<std::size_t, Uuid>> folders;
  for (const auto& [groupID, group] : groups) {
    if (group.kind == SceneElementGroupKind::folder) folders.emplace_back(ancestry(groups, groupID).size(), groupID);
  }
  std::stable_sort(folders.begin(), folders.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  for (const auto& [depth, folderID] : folders) {
    std::set<Uuid> set{folderID};
    std::vector<Uuid> stack{folderID};
    while (!stack.empty()) {
      Uuid top = stack.back();
      stack.pop_back();
      for (const auto& [childID, child] : groups) {
        if (child.kind == SceneElementGroupKind::folder && child.parentGroupID == top && set.insert(childID).second) {
          stack.push_back(childID);
        }
      }
    }
    std::vector<std::size_t> indices;
    for (std::size_t i = 0; i < elements.size(); ++i) {
      if (elements[i].groupMembership() && set.contains(elements[i].groupMembership()->groupID)) indices.push_back(i);
    }
    if (indices.size() < 2 || indices.back() - indices.front() == indices.size() - 1) continue;
    std::vector<SceneElement> block;
    for (std::size_t i : indices) block.push_back(elements[i]);
    for (auto it = indices.rbegin(); it != indices.rend(); ++it) elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(*it));
    elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(indices.front()), block.begin(), block.end());
  }
}

void stepwiseFrameRepair(std::vector<SceneElement>& elements) {
  std::set<Uuid> frames;
  for (const auto& e : elements) {
    if (e.type().isFrame()) frames.insert(e.id());
  }
  auto returns = [&](std::size_t start) {
    std::set<Uuid> seen;
    std::optional<Uuid> current = elements[start].frameID();
    while (current) {
      if (*current == elements[start].id()) return true;
      auto it = std::find_if(elements.begin(), elements.end(), [&](const SceneElement& e) { return e.id() == *current; });
      if (it == elements.end() || !seen.insert(*current).second) return false;
      current = it->frameID();
    }
    return false;
  };
  for (std::size_t i = 0; i < elements.size(); ++i) {
    if (!elements[i].frameID()) continue;
    if (frames.contains(*elements[i].frameID()) && !returns(i)) continue;
    elements[i].setFrameID(std::nullopt);
  }
}

// --- random small formats ---------------------------------------------------------------------------

Scene randomFormat(std::mt19937& random) {
  auto pick = [&](unsigned below) { return static_cast<unsigned>(random() % below); };
  const unsigned groupCount = 1 + pick(7);
  std::vector<SceneElementGroup> groups;
  for (unsigned g = 0; g < groupCount; ++g) {
    // Parents among all groups, itself included, and now and then one that does not exist.
    std::optional<unsigned> parent;
    if (pick(3) != 0) parent = 100 + pick(groupCount + 1);
    SceneElementGroup group = pick(5) == 0 ? splitGroup(100 + g) : folder(100 + g, parent, pick(4) == 0);
    if (group.kind == SceneElementGroupKind::splitVideo && parent) group.parentGroupID = id(*parent);
    groups.push_back(group);
  }
  const unsigned layerCount = pick(14);
  std::vector<SceneElement> layers;
  for (unsigned i = 0; i < layerCount; ++i) {
    const unsigned number = pick(8) == 0 && i > 0 ? 1 + pick(i) : 1 + i;  // now and then an id used before
    SceneElement layer = pick(3) == 0 ? frameLayer(number) : shapeLayer(number);
    if (pick(4) != 0) layer = inGroup(layer, 100 + pick(groupCount + 1));
    if (pick(2) == 0) layer = inFrame(layer, 1 + pick(layerCount + 1));
    layers.push_back(layer);
  }
  return sceneWith(layers, groups);
}

std::vector<std::optional<Uuid>> frameIDs(const std::vector<SceneElement>& elements) {
  std::vector<std::optional<Uuid>> ids;
  for (const auto& e : elements) ids.push_back(e.frameID());
  return ids;
}

TEST(StructurePasses, AgreeWithTheStepwiseRulesOnRandomFormats) {
  std::mt19937 random(20261124);
  for (int round = 0; round < 3000; ++round) {
    const Scene original = randomFormat(random);

    std::map<Uuid, int> counts;
    for (const auto& [groupID, count] : original.transitiveMemberCounts()) counts.emplace(groupID, count);
    EXPECT_EQ(counts, stepwiseMemberCounts(original)) << "round " << round;

    Scene gathered = original;
    gathered.normaliseGroupContiguity();
    std::vector<SceneElement> expected = original.elements();
    stepwiseGather(expected, original.groups());
    ASSERT_EQ(numbers(gathered.elements()), numbers(expected)) << "round " << round;
    // Same ids can stand twice: compare what each position holds, not just its id.
    for (std::size_t i = 0; i < expected.size(); ++i) {
      ASSERT_EQ(gathered.elements()[i].groupMembership(), expected[i].groupMembership()) << "round " << round;
    }

    Scene repaired = original;
    repaired.repairFrameMembership();
    std::vector<SceneElement> expectedFrames = original.elements();
    stepwiseFrameRepair(expectedFrames);
    ASSERT_EQ(frameIDs(repaired.elements()), frameIDs(expectedFrames)) << "round " << round;
  }
}

// --- deep nesting -----------------------------------------------------------------------------------

TEST(StructurePasses, FoldersNestedTwentyThousandDeepAreGatheredAndKept) {
  // Folder k lies in folder k - 1; layer k in folder k; the layers stand deepest first, with a loose
  // layer between each pair.
  constexpr unsigned kDepth = 20'000;
  std::vector<SceneElementGroup> groups;
  std::vector<SceneElement> layers;
  for (unsigned k = 0; k < kDepth; ++k) {
    groups.push_back(folder(1'000'000 + k, k == 0 ? std::nullopt : std::optional<unsigned>(1'000'000 + k - 1)));
  }
  for (unsigned k = kDepth; k-- > 0;) {
    layers.push_back(inGroup(shapeLayer(k + 1), 1'000'000 + k));
    layers.push_back(shapeLayer(500'000 + k));
  }
  Scene scene = sceneWith(layers, groups);
  EXPECT_EQ(scene.transitiveMemberCounts().at(id(1'000'000)), static_cast<int>(kDepth));
  scene.cleanupOrphanGroups();
  EXPECT_EQ(scene.groups().size(), kDepth);
  scene.normaliseGroupContiguity();
  // Every folder's block lands at its front-most layer, the deepest one: the folder layers stay deepest
  // first, and the loose layers follow in their order.
  const auto order = numbers(scene.elements());
  for (unsigned k = 0; k < kDepth; ++k) {
    ASSERT_EQ(order[k], kDepth - k);
    ASSERT_EQ(order[kDepth + k], 500'000 + kDepth - 1 - k);
  }
  EXPECT_EQ(scene.groupAncestry(id(kDepth)).size(), kDepth);
  EXPECT_EQ(scene.elementsRecursive(id(1'000'000)).size(), kDepth);
}

TEST(StructurePasses, FramesNestedTwentyThousandDeepKeepTheirLinksAndACycleOpensOnce) {
  constexpr unsigned kDepth = 20'000;
  std::vector<SceneElement> layers;
  for (unsigned k = 1; k <= kDepth; ++k) layers.push_back(k == 1 ? frameLayer(k) : inFrame(frameLayer(k), k - 1));
  // A second chain that closes on itself: only its first layer in array order is released.
  for (unsigned k = 1; k <= kDepth; ++k) layers.push_back(inFrame(frameLayer(100'000 + k), 100'000 + (k % kDepth) + 1));
  Scene scene = sceneWith(layers);
  scene.repairFrameMembership();
  const auto& elements = scene.elements();
  for (unsigned k = 2; k <= kDepth; ++k) ASSERT_EQ(elements[k - 1].frameID(), id(k - 1));
  EXPECT_FALSE(elements[kDepth].frameID());
  EXPECT_EQ(elements[kDepth].settingsUpdated(), true);
  for (unsigned k = 2; k <= kDepth; ++k) ASSERT_TRUE(elements[kDepth + k - 1].frameID().has_value());
  scene.normaliseFrameContiguity();
  EXPECT_EQ(scene.elements().size(), 2u * kDepth);
}

}  // namespace
}  // namespace tav
