#include "scene_commands.hpp"

#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "exit_status.hpp"
#include "input.hpp"
#include "scene_new_command.hpp"
#include "scene_tree.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"

namespace tav::tool {
namespace {

struct SceneOptions {
  std::string file;
  std::string aspect;
  std::string from;
};

/// Reads and decodes the document named in `options`, reporting failures as tavo does.
std::optional<Scene> loadScene(const SceneOptions& options, int& status) {
  auto input = readInput(options.file);
  if (!input) {
    status = kNoInput;
    return std::nullopt;
  }
  try {
    return decodeJson<Scene>(input->text);
  } catch (const DecodingError& error) {
    std::cerr << "tavo: " << input->displayName << ": " << error.what() << '\n';
    status = kDataError;
    return std::nullopt;
  }
}

int printNormalized(const Scene& scene) {
  std::cout << encodeJson(scene) << '\n';
  return kSuccess;
}

void printInfo(const Scene& scene) {
  std::cout << "id: " << scene.id() << '\n';
  std::cout << "name: " << scene.name() << '\n';
  std::cout << "template: " << (scene.isTemplate() ? "yes" : "no") << '\n';
  std::cout << "version: " << (scene.version() ? std::to_string(*scene.version()) : "none") << '\n';
  std::cout << "primary aspect: " << rawValue(scene.primaryAspect()) << '\n';
  std::cout << "formats:\n";
  for (const auto& [aspect, format] : scene.formats()) {
    std::size_t count = format.elements.size();
    std::cout << "  " << rawValue(aspect) << " (" << title(aspect) << "): " << count
              << (count == 1 ? " layer" : " layers") << (aspect == scene.primaryAspect() ? ", primary" : "") << '\n';
    for (std::size_t i = 0; i < count; ++i) {
      std::cout << "    " << i << "  " << format.elements[i].type().title() << '\n';
    }
  }
  if (const auto& transition = scene.transitionConfig()) {
    std::cout << "transition: " << displayName(transition->type);
    if (transition->duration) std::cout << ", " << SceneTransitionConfig::formattedDuration(*transition->duration);
    std::cout << '\n';
  } else {
    std::cout << "transition: none set\n";
  }
  if (const auto& audio = scene.audioConfiguration()) {
    std::cout << "audio sources:" << (audio->sources.empty() ? " none" : "") << '\n';
    for (const auto& source : audio->sources) {
      std::cout << "  " << source.name << " (" << source.id << "): volume " << source.volume
                << (source.isMuted ? ", muted" : ", not muted") << '\n';
    }
  } else {
    std::cout << "audio sources: none set\n";
  }
  const auto& unknown = scene.additionalProperties();
  std::cout << "unknown top-level keys kept: ";
  if (unknown.empty()) std::cout << "none";
  bool first = true;
  for (const auto& member : unknown) {
    std::cout << (first ? "" : ", ") << std::string_view(member.key().data(), member.key().size());
    first = false;
  }
  std::cout << '\n';
}

int printTree(const Scene& scene, const std::string& aspectText) {
  std::vector<AspectRatio> aspects = scene.supportedAspects();
  if (!aspectText.empty()) {
    auto aspect = enumFromRawValue<AspectRatio>(aspectText);
    if (!aspect) {
      std::cerr << "tavo: unknown aspect \"" << aspectText << "\" (one of landscape, portrait, fourByThree, "
                << "threeByFour, square, unknown)\n";
      return kUsage;
    }
    if (!scene.hasFormat(*aspect)) {
      std::cerr << "tavo: the scene has no " << aspectText << " format\n";
      return kDataError;
    }
    aspects = {*aspect};
  }
  for (AspectRatio aspect : aspects) {
    const Scene routed = scene.withActiveAspect(aspect);
    std::size_t count = routed.elements().size();
    std::cout << rawValue(aspect) << " (" << title(aspect) << "), " << count << (count == 1 ? " layer" : " layers")
              << (aspect == scene.primaryAspect() ? ", primary" : "") << '\n';
    printSceneTree(routed, std::cout);
  }
  return kSuccess;
}

/// The aspect named by `text`, or a usage message and absent.
std::optional<AspectRatio> parseAspect(const std::string& text) {
  auto aspect = enumFromRawValue<AspectRatio>(text);
  if (!aspect) {
    std::cerr << "tavo: unknown aspect \"" << text << "\" (one of landscape, portrait, fourByThree, "
              << "threeByFour, square, unknown)\n";
  }
  return aspect;
}

/// Seeds the format at `aspectText`, from `fromText` when given, and prints the document.
int addFormat(Scene& scene, const std::string& aspectText, const std::string& fromText) {
  const auto aspect = parseAspect(aspectText);
  if (!aspect) return kUsage;
  std::optional<AspectRatio> from;
  if (!fromText.empty()) {
    from = parseAspect(fromText);
    if (!from) return kUsage;
  }
  if (scene.hasFormat(*aspect)) {
    std::cerr << "tavo: the scene already has a " << aspectText << " format; nothing was added\n";
    return kDataError;
  }
  if (from && !scene.hasFormat(*from)) {
    std::cerr << "tavo: the scene has no " << fromText << " format to seed from; the new " << aspectText
              << " format is empty\n";
  }
  scene.ensureFormat(*aspect, from);
  return printNormalized(scene);
}

}  // namespace

void addSceneCommands(CLI::App& app, int& status) {
  auto* scene = app.add_subcommand("scene", "Read, check and show scene documents");
  scene->require_subcommand(1);

  auto normalizeOptions = std::make_shared<SceneOptions>();
  auto* normalize = scene->add_subcommand(
      "normalize", "Decode a scene document and write it back as compact JSON, as the library stores it");
  normalize->add_option("FILE", normalizeOptions->file, "The document; standard input when absent or -");
  normalize->callback([normalizeOptions, &status] {
    if (auto loaded = loadScene(*normalizeOptions, status)) status = printNormalized(*loaded);
  });

  auto infoOptions = std::make_shared<SceneOptions>();
  auto* info = scene->add_subcommand("info", "Show a scene's identity, formats and layers");
  info->add_option("FILE", infoOptions->file, "The document; standard input when absent or -");
  info->callback([infoOptions, &status] {
    if (auto loaded = loadScene(*infoOptions, status)) {
      printInfo(*loaded);
      status = kSuccess;
    }
  });

  auto repairOptions = std::make_shared<SceneOptions>();
  auto* repair = scene->add_subcommand(
      "repair", "Mend a scene: drop orphan groups, gather folders and frames, then write it as normalize does");
  repair->add_option("FILE", repairOptions->file, "The document; standard input when absent or -");
  repair->callback([repairOptions, &status] {
    if (auto loaded = loadScene(*repairOptions, status)) {
      loaded->repairAllFormats();
      status = printNormalized(*loaded);
    }
  });

  auto treeOptions = std::make_shared<SceneOptions>();
  auto* tree = scene->add_subcommand("tree", "Show the layer hierarchy of each format, front to back");
  tree->add_option("FILE", treeOptions->file, "The document; standard input when absent or -");
  tree->add_option("--aspect", treeOptions->aspect, "Only this format (landscape, portrait, square, ...)");
  tree->callback([treeOptions, &status] {
    if (auto loaded = loadScene(*treeOptions, status)) status = printTree(*loaded, treeOptions->aspect);
  });

  auto addFormatOptions = std::make_shared<SceneOptions>();
  auto* addFormatCommand = scene->add_subcommand(
      "add-format", "Add a format for another aspect, copied and translated from an existing one or empty, "
                    "and write the document");
  addFormatCommand->add_option("FILE", addFormatOptions->file, "The document; standard input when absent or -");
  addFormatCommand->add_option("--aspect", addFormatOptions->aspect, "The aspect of the new format")->required();
  addFormatCommand->add_option("--from", addFormatOptions->from,
                               "Copy the layers of this aspect's format, with new ids and translated geometry");
  addFormatCommand->callback([addFormatOptions, &status] {
    if (auto loaded = loadScene(*addFormatOptions, status)) {
      status = addFormat(*loaded, addFormatOptions->aspect, addFormatOptions->from);
    }
  });
  addSceneNewCommand(*scene, status);
}

}  // namespace tav::tool
