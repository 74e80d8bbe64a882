#include "tav/foundation/specs.hpp"

#include <array>
#include <cmath>

#include "tav/contracts/json_writer.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/foundation/printf_text.hpp"

namespace tav {
namespace {

JsonValue textOrNull(const std::optional<std::string>& text) {
  return text ? JsonValue(text->c_str()) : JsonValue(nullptr);
}

std::string valueText(const JsonValue& value) {
  if (value.is_string()) return std::string(value.get_string());
  if (value.is_null()) return "nil";
  std::string out;
  JsonWriter(out).raw(value);
  return out;
}

}  // namespace

std::optional<std::string> getSysctlString(std::string_view name) {
  return defaultSystemSpecsSource().sysctlString(name);
}

std::vector<SpecPair> getSpecs(const SystemSpecsSource& source) {
  const std::optional<ThermalState> thermal = source.thermalState();
  std::vector<SpecPair> specs;
  specs.reserve(8);
  specs.emplace_back("OS", source.operatingSystemVersionString().c_str());
  specs.emplace_back("Model", textOrNull(source.sysctlString("hw.model")));
  specs.emplace_back("RAM", memoryByteCountText(source.physicalMemory()).c_str());
  specs.emplace_back("Cores", (std::to_string(source.activeProcessorCount()) + " active / " +
                               std::to_string(source.processorCount()))
                                  .c_str());
  specs.emplace_back("Uptime", abbreviatedDurationText(source.systemUptime()).c_str());
  specs.emplace_back("Thermal State", thermal ? description(*thermal).c_str() : "unknown (?/3)");
  specs.emplace_back("SentryUID", textOrNull(source.instanceHash()));
  specs.emplace_back("Host name", source.hostName().c_str());
  return specs;
}

std::vector<SpecPair> getSpecs() { return getSpecs(defaultSystemSpecsSource()); }

std::string specsText(const std::vector<SpecPair>& pairs) {
  std::string lines;
  for (const auto& [key, value] : pairs) {
    if (!lines.empty()) lines += '\n';
    lines += "- " + key + ": " + valueText(value);
  }
  return lines;
}

void dumpSpecs(const SystemSpecsSource& source, const std::optional<std::vector<SpecPair>>& extra) {
  static const Logger logger("Specs");
  std::vector<SpecPair> pairs = getSpecs(source);
  if (extra) pairs.insert(pairs.end(), extra->begin(), extra->end());
  logger.info("Dumping specs:\n{}", specsText(pairs));
}

void dumpSpecs(const std::optional<std::vector<SpecPair>>& extra) { dumpSpecs(defaultSystemSpecsSource(), extra); }

std::string memoryByteCountText(std::uint64_t bytes) {
  static constexpr std::array<const char*, 6> units{"bytes", "KB", "MB", "GB", "TB", "PB"};
  static constexpr std::array<int, 6> decimals{0, 0, 1, 2, 2, 2};
  double value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= 1024 && unit + 1 < units.size()) {
    value /= 1024;
    ++unit;
  }
  std::string number = printfText("%.*f", decimals[unit], value);
  if (number.find('.') != std::string::npos) {
    while (number.back() == '0') number.pop_back();
    if (number.back() == '.') number.pop_back();
  }
  return number + " " + units[unit];
}

std::string abbreviatedDurationText(double seconds) {
  if (!std::isfinite(seconds) || seconds < 1) return "0s";
  auto remaining = static_cast<std::uint64_t>(seconds);
  const std::uint64_t parts[] = {remaining / 86400, remaining / 3600 % 24, remaining / 60 % 60, remaining % 60};
  const char* suffixes[] = {"d", "h", "m", "s"};
  std::string text;
  for (std::size_t i = 0; i < 4; ++i) {
    if (parts[i] == 0) continue;
    if (!text.empty()) text += ' ';
    text += std::to_string(parts[i]) + suffixes[i];
  }
  return text;
}

}  // namespace tav
