// The machine's particulars for logs: getSpecs lists them in a fixed order, dumpSpecs logs them.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tav/contracts/json_value.hpp"
#include "tav/contracts/system_specs_source.hpp"

namespace tav {

/// A key and a value of any JSON type; a missing value is null.
using SpecPair = std::pair<std::string, JsonValue>;

/// The named system value as text (see SystemSpecsSource::sysctlString), from the running system.
std::optional<std::string> getSysctlString(std::string_view name);

/// Eight pairs, in this order: "OS", "Model", "RAM", "Cores" ("<active> active / <all>"), "Uptime",
/// "Thermal State", "SentryUID", "Host name". Thread-safe.
std::vector<SpecPair> getSpecs(const SystemSpecsSource& source);
std::vector<SpecPair> getSpecs();

/// The specs followed by `extra`, one line per pair ("- <key>: <value>"), joined by line feeds. Texts
/// appear without quotes, null as "nil", other values as JSON.
std::string specsText(const std::vector<SpecPair>& pairs);

/// Logs "Dumping specs:\n" and the lines of getSpecs() and `extra` at info level, labelled "Specs".
void dumpSpecs(const std::optional<std::vector<SpecPair>>& extra = std::nullopt);
void dumpSpecs(const SystemSpecsSource& source, const std::optional<std::vector<SpecPair>>& extra = std::nullopt);

/// Memory sizes as people read them, in units of 1024: "512 bytes", "640 KB", "7.8 MB", "15.52 GB".
std::string memoryByteCountText(std::uint64_t bytes);
/// Durations in abbreviated units, zero units left out: "3d 4h 5m 6s", "45s", "0s". Fractions are cut.
std::string abbreviatedDurationText(double seconds);

}  // namespace tav
