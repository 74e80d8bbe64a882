#include "tav/platform/linux_system_specs.hpp"

#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iterator>
#include <map>
#include <vector>

#include "tav/reporting/nqs_requestor.hpp"

namespace tav {
namespace {

std::string trimmed(std::string_view text) {
  const auto begin = text.find_first_not_of(" \t\r\n");
  if (begin == std::string_view::npos) return {};
  const auto end = text.find_last_not_of(" \t\r\n");
  return std::string(text.substr(begin, end - begin + 1));
}

/// The value of the first "key : value" line of `text` whose key is `key` (as /proc files write them).
std::optional<std::string> keyedValue(std::string_view text, std::string_view key) {
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view line = text.substr(start, end - start);
    const std::size_t colon = line.find(':');
    if (colon != std::string_view::npos && trimmed(line.substr(0, colon)) == key) {
      return trimmed(line.substr(colon + 1));
    }
    start = end + 1;
  }
  return std::nullopt;
}

/// The value of `key` in KEY=value lines (os-release, uevent), the value optionally quoted.
std::optional<std::string> osReleaseValue(std::string_view text, std::string_view key) {
  std::size_t start = 0;
  while (start < text.size()) {
    std::size_t end = text.find('\n', start);
    if (end == std::string_view::npos) end = text.size();
    const std::string_view line = text.substr(start, end - start);
    if (line.size() > key.size() && line.substr(0, key.size()) == key && line[key.size()] == '=') {
      std::string value = trimmed(line.substr(key.size() + 1));
      if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
        value = value.substr(1, value.size() - 2);
      }
      return value;
    }
    start = end + 1;
  }
  return std::nullopt;
}

template <class Number>
std::optional<Number> parseNumber(std::string_view text) {
  Number value{};
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc()) return std::nullopt;
  return value;
}

struct Uname {
  std::string sysname, release, version, machine, nodename;
};

Uname uname() {
  utsname names{};
  if (::uname(&names) != 0) return {};
  return Uname{names.sysname, names.release, names.version, names.machine, names.nodename};
}

/// Names of the PCI vendors of graphics chips that people know by name.
std::string vendorName(std::string_view pciVendor) {
  static const std::map<std::string_view, std::string_view> names{
      {"0x8086", "Intel"}, {"0x10de", "NVIDIA"}, {"0x1002", "AMD"}, {"0x1af4", "Virtio"},
      {"0x15ad", "VMware"}, {"0x1234", "QEMU"}, {"0x1b36", "Red Hat"}, {"0x5143", "Qualcomm"}};
  auto it = names.find(pciVendor);
  return it != names.end() ? std::string(it->second) : std::string(pciVendor);
}

}  // namespace

std::optional<unsigned> countCpuList(std::string_view list) {
  std::string text = trimmed(list);
  if (text.empty()) return std::nullopt;
  unsigned count = 0;
  std::string_view rest(text);
  while (!rest.empty()) {
    const std::size_t comma = rest.find(',');
    const std::string_view part = rest.substr(0, comma);
    const std::size_t dash = part.find('-');
    const auto first = parseNumber<unsigned>(part.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : parseNumber<unsigned>(part.substr(dash + 1));
    if (!first || !last || *last < *first) return std::nullopt;
    count += *last - *first + 1;
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
  }
  return count;
}

LinuxSystemSpecs::LinuxSystemSpecs(std::filesystem::path root, std::function<std::optional<std::string>()> instanceHash)
    : root_(std::move(root)), instanceHash_(std::move(instanceHash)) {}

std::filesystem::path LinuxSystemSpecs::file(std::string_view absolutePath) const {
  return root_ / std::filesystem::path(absolutePath).relative_path();
}

std::optional<std::string> LinuxSystemSpecs::readText(std::string_view absolutePath) const {
  std::ifstream input(file(absolutePath), std::ios::binary);
  if (!input) return std::nullopt;
  std::string text{std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
  // Device-tree strings end in NUL; sysfs values in a line feed.
  while (!text.empty() && (text.back() == '\0' || text.back() == '\n')) text.pop_back();
  return text;
}

std::optional<std::string> LinuxSystemSpecs::sysctlString(std::string_view name) const {
  if (name == "hw.model") return model();
  if (name == "machdep.cpu.brand_string") return cpuBrand();
  if (name == "hw.gpu") return gpus();
  if (name == "hw.memsize") {
    const std::uint64_t bytes = physicalMemory();
    return bytes > 0 ? std::optional(std::to_string(bytes)) : std::nullopt;
  }
  if (name == "hw.ncpu" || name == "hw.activecpu") {
    auto count = cpuListCount(name == "hw.ncpu" ? "present" : "online");
    return count ? std::optional(std::to_string(*count)) : std::nullopt;
  }
  const Uname names = uname();
  const std::map<std::string_view, const std::string*> unameValues{{"hw.machine", &names.machine},
                                                                   {"kern.ostype", &names.sysname},
                                                                   {"kern.osrelease", &names.release},
                                                                   {"kern.version", &names.version},
                                                                   {"kern.hostname", &names.nodename}};
  auto it = unameValues.find(name);
  if (it == unameValues.end() || it->second->empty()) return std::nullopt;
  return *it->second;
}

std::optional<std::string> LinuxSystemSpecs::model() const {
  auto product = readText("/sys/class/dmi/id/product_name");
  if (product && !trimmed(*product).empty()) {
    const std::string name = trimmed(*product);
    const std::string vendor = trimmed(readText("/sys/class/dmi/id/sys_vendor").value_or(""));
    if (vendor.empty() || name.rfind(vendor, 0) == 0) return name;
    return vendor + " " + name;
  }
  auto deviceTree = readText("/proc/device-tree/model");
  if (deviceTree && !trimmed(*deviceTree).empty()) return trimmed(*deviceTree);
  return std::nullopt;
}

std::optional<std::string> LinuxSystemSpecs::cpuBrand() const {
  auto cpuinfo = readText("/proc/cpuinfo");
  if (!cpuinfo) return std::nullopt;
  if (auto name = keyedValue(*cpuinfo, "model name")) return name;
  return keyedValue(*cpuinfo, "Model");  // ARM boards name the machine here instead
}

std::optional<std::string> LinuxSystemSpecs::gpus() const {
  std::error_code error;
  std::vector<std::string> cards;
  for (const auto& entry : std::filesystem::directory_iterator(file("/sys/class/drm"), error)) {
    const std::string name = entry.path().filename().string();
    // "card0" is a device; "card0-HDMI-A-1" one of its connectors.
    if (name.rfind("card", 0) != 0 || name.find('-') != std::string::npos) continue;
    cards.push_back(name);
  }
  std::sort(cards.begin(), cards.end());
  std::string text;
  for (const std::string& card : cards) {
    const std::string device = "/sys/class/drm/" + card + "/device/";
    const std::string vendor = readText(device + "vendor").value_or("");
    const std::string model = readText(device + "device").value_or("");
    const std::string driver = osReleaseValue(readText(device + "uevent").value_or(""), "DRIVER").value_or("");
    std::string line = vendor.empty() ? std::string("unknown") : vendorName(vendor);
    std::string details = driver;
    if (!vendor.empty() && !model.empty()) {
      if (!details.empty()) details += ", ";
      details += vendor.substr(vendor.rfind('x') + 1) + ":" + model.substr(model.rfind('x') + 1);
    }
    if (!details.empty()) line += " (" + details + ")";
    if (!text.empty()) text += "; ";
    text += line;
  }
  if (text.empty()) return std::nullopt;
  return text;
}

std::optional<unsigned> LinuxSystemSpecs::cpuListCount(std::string_view list) const {
  auto text = readText("/sys/devices/system/cpu/" + std::string(list));
  return text ? countCpuList(*text) : std::nullopt;
}

std::string LinuxSystemSpecs::operatingSystemVersionString() const {
  auto release = readText("/etc/os-release");
  if (!release) release = readText("/usr/lib/os-release");
  const std::string name = release ? osReleaseValue(*release, "PRETTY_NAME").value_or("") : std::string();
  const Uname names = uname();
  const std::string kernel = names.sysname.empty() ? std::string() : names.sysname + " " + names.release;
  if (name.empty()) return kernel.empty() ? std::string("Linux") : kernel;
  return kernel.empty() ? name : name + " (" + kernel + ")";
}

std::uint64_t LinuxSystemSpecs::physicalMemory() const {
  auto meminfo = readText("/proc/meminfo");
  if (!meminfo) return 0;
  const std::string total = keyedValue(*meminfo, "MemTotal").value_or("");  // "16314116 kB"
  auto kilobytes = parseNumber<std::uint64_t>(total.substr(0, total.find(' ')));
  return kilobytes ? *kilobytes * 1024 : 0;
}

unsigned LinuxSystemSpecs::activeProcessorCount() const {
  if (auto count = cpuListCount("online")) return *count;
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  return online > 0 ? static_cast<unsigned>(online) : 0;
}

unsigned LinuxSystemSpecs::processorCount() const {
  if (auto count = cpuListCount("present")) return *count;
  const long configured = sysconf(_SC_NPROCESSORS_CONF);
  return configured > 0 ? static_cast<unsigned>(configured) : 0;
}

double LinuxSystemSpecs::systemUptime() const {
  const std::string text = readText("/proc/uptime").value_or("");  // "350735.47 234388.90"
  return parseNumber<double>(text.substr(0, text.find(' '))).value_or(0.0);
}

std::optional<ThermalState> LinuxSystemSpecs::thermalState() const {
  std::error_code error;
  std::optional<ThermalState> hottest;
  for (const auto& zone : std::filesystem::directory_iterator(file("/sys/class/thermal"), error)) {
    const std::string zoneName = zone.path().filename().string();
    if (zoneName.rfind("thermal_zone", 0) != 0) continue;
    const std::string base = "/sys/class/thermal/" + zoneName + "/";
    auto temperature = parseNumber<long>(readText(base + "temp").value_or(""));
    if (!temperature) continue;
    ThermalState state = ThermalState::nominal;
    for (int trip = 0; trip < 32; ++trip) {
      const std::string prefix = base + "trip_point_" + std::to_string(trip) + "_";
      auto type = readText(prefix + "type");
      if (!type) break;
      auto tripTemperature = parseNumber<long>(readText(prefix + "temp").value_or(""));
      if (!tripTemperature || *tripTemperature <= 0 || *temperature < *tripTemperature) continue;
      ThermalState reached = *type == "critical" ? ThermalState::critical
                             : *type == "hot"    ? ThermalState::serious
                             : *type == "passive" ? ThermalState::fair
                                                  : ThermalState::nominal;
      state = std::max(state, reached);
    }
    hottest = hottest ? std::max(*hottest, state) : state;
  }
  return hottest;
}

std::string LinuxSystemSpecs::hostName() const {
  char name[256] = {};
  if (gethostname(name, sizeof name - 1) != 0) return uname().nodename;
  return name;
}

std::optional<std::string> LinuxSystemSpecs::instanceHash() const {
  return instanceHash_ ? instanceHash_() : std::nullopt;
}

const SystemSpecsSource& defaultSystemSpecsSource() {
  // The instance id the service knows this machine by, so that logs and reports can be matched.
  static const LinuxSystemSpecs source("/", []() -> std::optional<std::string> {
    std::string instance = NQSRequestor::generateInstanceHeader();
    if (instance.empty()) return std::nullopt;
    return instance;
  });
  return source;
}

}  // namespace tav
