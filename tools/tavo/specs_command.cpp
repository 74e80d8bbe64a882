#include "specs_command.hpp"

#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "exit_status.hpp"
#include "tav/contracts/json_writer.hpp"
#include "tav/foundation/specs.hpp"

namespace tav::tool {
namespace {

/// The eight specs of the log, then what a person checking a machine also wants: the processor, the
/// architecture, the graphics and the kernel.
std::vector<SpecPair> allSpecs() {
  std::vector<SpecPair> specs = getSpecs();
  auto add = [&](const char* key, const char* name) {
    const auto value = getSysctlString(name);
    specs.emplace_back(key, value ? JsonValue(value->c_str()) : JsonValue(nullptr));
  };
  add("CPU", "machdep.cpu.brand_string");
  add("Architecture", "hw.machine");
  add("GPU", "hw.gpu");
  add("Kernel", "kern.osrelease");
  return specs;
}

/// One JSON object, keys in the order of the list.
std::string json(const std::vector<SpecPair>& specs) {
  std::string out;
  JsonWriter w(out);
  w.beginObject();
  for (const auto& [key, value] : specs) {
    w.key(key);
    w.raw(value);
  }
  w.endObject();
  return out;
}

}  // namespace

void addSpecsCommand(CLI::App& app, int& status) {
  auto asJson = std::make_shared<bool>(false);
  auto* specs = app.add_subcommand("specs", "Show the machine's particulars (OS, model, memory, cores, uptime, ...)");
  specs->add_flag("--json", *asJson, "Print one JSON object instead of lines for people");
  specs->callback([asJson, &status] {
    const std::vector<SpecPair> pairs = allSpecs();
    std::cout << (*asJson ? json(pairs) : specsText(pairs)) << '\n';
    status = kSuccess;
  });
}

}  // namespace tav::tool
