// The machine's particulars on Linux, read from /proc, /sys, /etc/os-release and uname.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "tav/contracts/system_specs_source.hpp"

namespace tav {

/// Reads every answer afresh from the files (nothing is cached), so it is safe from any thread.
///
/// Sources: "hw.model" is the DMI vendor and product name (/sys/class/dmi/id), else the device-tree
/// model; "machdep.cpu.brand_string" the first "model name" of /proc/cpuinfo; "hw.memsize" MemTotal of
/// /proc/meminfo; "hw.ncpu" and "hw.activecpu" the CPU lists "present" and "online" of
/// /sys/devices/system/cpu; "hw.gpu" each DRM card's driver and PCI ids (/sys/class/drm); the "kern.*"
/// and "hw.machine" values come from uname. The thermal state compares each thermal zone's
/// temperature with its trip points: at or above a "passive" trip is fair, "hot" serious, "critical"
/// critical.
class LinuxSystemSpecs final : public SystemSpecsSource {
 public:
  /// `root` prefixes every file read ("/" for the running system; a folder laid out like it in tests).
  /// `instanceHash` gives the service's instance id (empty: none).
  explicit LinuxSystemSpecs(std::filesystem::path root = "/",
                            std::function<std::optional<std::string>()> instanceHash = {});

  std::optional<std::string> sysctlString(std::string_view name) const override;
  std::string operatingSystemVersionString() const override;
  std::uint64_t physicalMemory() const override;
  unsigned activeProcessorCount() const override;
  unsigned processorCount() const override;
  double systemUptime() const override;
  std::optional<ThermalState> thermalState() const override;
  std::string hostName() const override;
  std::optional<std::string> instanceHash() const override;

 private:
  std::filesystem::path file(std::string_view absolutePath) const;
  std::optional<std::string> readText(std::string_view absolutePath) const;
  std::optional<std::string> model() const;
  std::optional<std::string> cpuBrand() const;
  std::optional<std::string> gpus() const;
  std::optional<unsigned> cpuListCount(std::string_view list) const;

  std::filesystem::path root_;
  std::function<std::optional<std::string>()> instanceHash_;
};

/// Counts the CPUs of a kernel CPU list such as "0-3,6,8-9" (7); absent for text that is not one.
std::optional<unsigned> countCpuList(std::string_view list);

}  // namespace tav
