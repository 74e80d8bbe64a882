#include "tav/platform/linux_machine_identity.hpp"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>
#include <system_error>
#include <vector>

namespace tav {
namespace {

namespace fs = std::filesystem;

std::string trimmed(std::string text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return {};
  const auto last = text.find_last_not_of(" \t\r\n");
  return text.substr(first, last - first + 1);
}

/// The first line of a small file, trimmed; empty when it cannot be read.
std::string firstLine(const fs::path& file) {
  std::ifstream in(file);
  std::string line;
  if (!in || !std::getline(in, line)) return {};
  return trimmed(line);
}

/// "aa:bb:cc:dd:ee:ff" as six bytes; absent for anything else or for all zeros.
std::optional<std::array<std::uint8_t, 6>> parseMAC(const std::string& text) {
  std::array<std::uint8_t, 6> bytes{};
  if (text.size() != 17) return std::nullopt;
  for (std::size_t i = 0; i < 6; ++i) {
    if (i > 0 && text[i * 3 - 1] != ':') return std::nullopt;
    unsigned value = 0;
    for (std::size_t j = 0; j < 2; ++j) {
      const char c = text[i * 3 + j];
      unsigned digit;
      if (c >= '0' && c <= '9') digit = static_cast<unsigned>(c - '0');
      else if (c >= 'a' && c <= 'f') digit = static_cast<unsigned>(c - 'a' + 10);
      else if (c >= 'A' && c <= 'F') digit = static_cast<unsigned>(c - 'A' + 10);
      else return std::nullopt;
      value = value * 16 + digit;
    }
    bytes[i] = static_cast<std::uint8_t>(value);
  }
  if (std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t b) { return b == 0; })) return std::nullopt;
  return bytes;
}

/// The interface of the first default route (destination 00000000) in /proc/net/route.
std::string defaultRouteInterface(const fs::path& root) {
  std::ifstream in(root / "proc/net/route");
  std::string line;
  std::getline(in, line);  // the column titles
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string name, destination;
    if (fields >> name >> destination && destination == "00000000") return name;
  }
  return {};
}

std::optional<std::array<std::uint8_t, 6>> interfaceMAC(const fs::path& netClass, const std::string& name) {
  if (name.empty()) return std::nullopt;
  return parseMAC(firstLine(netClass / name / "address"));
}

std::optional<std::array<std::uint8_t, 6>> primaryMAC(const fs::path& root) {
  const fs::path netClass = root / "sys/class/net";
  if (auto mac = interfaceMAC(netClass, defaultRouteInterface(root))) return mac;

  // Ethernet and wireless interfaces both have ARP hardware type 1; loopback is 772.
  std::vector<std::pair<bool, std::string>> candidates;  // (virtual, name)
  std::error_code error;
  for (const auto& entry : fs::directory_iterator(netClass, error)) {
    const std::string name = entry.path().filename().string();
    if (firstLine(entry.path() / "type") != "1") continue;
    const bool isPhysical = fs::exists(entry.path() / "device", error);
    candidates.emplace_back(!isPhysical, name);
  }
  std::sort(candidates.begin(), candidates.end());
  for (const auto& candidate : candidates) {
    if (auto mac = interfaceMAC(netClass, candidate.second)) return mac;
  }
  return std::nullopt;
}

/// The value of PRETTY_HOSTNAME in an environment-style file, without its quotes.
std::string prettyHostname(const fs::path& file) {
  std::ifstream in(file);
  std::string line;
  while (std::getline(in, line)) {
    line = trimmed(line);
    constexpr std::string_view key = "PRETTY_HOSTNAME=";
    if (line.rfind(key, 0) != 0) continue;
    std::string value = line.substr(key.size());
    if (value.size() >= 2 && (value.front() == '"' || value.front() == '\'') && value.back() == value.front()) {
      value = value.substr(1, value.size() - 2);
    }
    return value;
  }
  return {};
}

}  // namespace

MachineIdentifiers LinuxMachineIdentity::identifiers() const {
  MachineIdentifiers ids;
  for (const char* source : {"sys/class/dmi/id/product_uuid", "etc/machine-id", "var/lib/dbus/machine-id"}) {
    ids.platformUUID = firstLine(root_ / source);
    if (!ids.platformUUID.empty()) break;
  }
  ids.serialNumber = firstLine(root_ / "sys/class/dmi/id/product_serial");
  ids.primaryMACAddress = primaryMAC(root_);
  return ids;
}

std::string LinuxMachineIdentity::computerName() const {
  std::string name = prettyHostname(root_ / "etc/machine-info");
  if (!name.empty() || root_ != fs::path("/")) return name;
  char host[256] = {};
  if (gethostname(host, sizeof host - 1) != 0) return {};
  return host;
}

std::shared_ptr<const MachineIdentity> MachineIdentity::platform() {
  static const auto identity = std::make_shared<const LinuxMachineIdentity>();
  return identity;
}

}  // namespace tav
