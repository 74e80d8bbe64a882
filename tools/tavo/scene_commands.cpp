#include "scene_commands.hpp"

#include <iostream>
#include <memory>
#include <optional>
#include <string>

#include "exit_status.hpp"
#include "input.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/scene/scene.hpp"

namespace tav::tool {
namespace {

struct SceneOptions {
  std::string file;
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
}

}  // namespace tav::tool
