// A machine whose every answer is fixed, for tests of what is built from the system's particulars.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/system_specs_source.hpp"

namespace tav::testing {

struct FixedSystemSpecs final : SystemSpecsSource {
  std::optional<ThermalState> thermal = ThermalState::fair;
  std::optional<std::string> sysctlString(std::string_view name) const override {
    if (name == "hw.model") return "ThinkStation P360";
    if (name == "hw.machine") return "x86_64";
    return std::nullopt;
  }
  std::string operatingSystemVersionString() const override { return "Debian GNU/Linux 12 (bookworm)"; }
  std::uint64_t physicalMemory() const override { return 16ull << 30; }
  unsigned activeProcessorCount() const override { return 6; }
  unsigned processorCount() const override { return 8; }
  double systemUptime() const override { return 2 * 86400 + 3 * 3600 + 7.9; }  // minutes are zero
  std::optional<ThermalState> thermalState() const override { return thermal; }
  std::string hostName() const override { return "studio-1"; }
  std::optional<std::string> instanceHash() const override { return std::nullopt; }
};

}  // namespace tav::testing
