// Where the machine's particulars come from: the operating system's answers that getSpecs lists for a
// log, and the look-up of named system values (the role sysctl plays elsewhere).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tav {

/// How hot the machine runs, by the headroom its cooling has left.
enum class ThermalState : int { nominal = 0, fair = 1, serious = 2, critical = 3 };

/// "nominal (0/3)", "fair (1/3)", "serious (2/3)", "critical (3/3)"; "unknown (?/3)" for any other value.
std::string description(ThermalState state);

/// Implementations answer from any thread and never throw: a value the system does not give is absent
/// (or 0), never an error.
class SystemSpecsSource {
 public:
  virtual ~SystemSpecsSource() = default;

  /// A named system value as text: "hw.model", "hw.machine", "hw.memsize", "hw.ncpu", "hw.activecpu",
  /// "machdep.cpu.brand_string", "kern.ostype", "kern.osrelease", "kern.version", "kern.hostname",
  /// "hw.gpu". Absent for a name the source does not know or a value it cannot read.
  virtual std::optional<std::string> sysctlString(std::string_view name) const = 0;
  /// The operating system's name and version, for people.
  virtual std::string operatingSystemVersionString() const = 0;
  /// Bytes of memory the machine has.
  virtual std::uint64_t physicalMemory() const = 0;
  /// Processors available to run work now, and processors the machine has.
  virtual unsigned activeProcessorCount() const = 0;
  virtual unsigned processorCount() const = 0;
  /// Seconds since the machine started.
  virtual double systemUptime() const = 0;
  /// Absent when the machine reports no temperatures.
  virtual std::optional<ThermalState> thermalState() const = 0;
  virtual std::string hostName() const = 0;
  /// The service's anonymous instance id of this machine (20 characters), when one can be made.
  virtual std::optional<std::string> instanceHash() const = 0;
};

/// The running system's source (defined in tavcommon_platform).
const SystemSpecsSource& defaultSystemSpecsSource();

}  // namespace tav
