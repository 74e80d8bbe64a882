// The machine's identifiers on Linux, read from the files the kernel and systemd keep.
#pragma once

#include <filesystem>

#include "tav/contracts/machine_identity.hpp"

namespace tav {

/// Reads, under `root` ("/" on a real machine; tests point it at a made-up tree):
/// - the platform UUID from sys/class/dmi/id/product_uuid where readable (it is root's only on most
///   systems), else etc/machine-id, else var/lib/dbus/machine-id;
/// - the serial number from sys/class/dmi/id/product_serial where readable;
/// - the MAC of the interface that carries the default route (proc/net/route), else of the first
///   non-loopback Ethernet or wireless interface by name, physical devices before virtual ones, from
///   sys/class/net; an all-zero address counts as none;
/// - the computer's name from PRETTY_HOSTNAME in etc/machine-info, else gethostname (only for the real
///   root).
/// Unreadable sources give empty values. Every call reads afresh; thread-safe.
class LinuxMachineIdentity final : public MachineIdentity {
 public:
  explicit LinuxMachineIdentity(std::filesystem::path root = "/") : root_(std::move(root)) {}
  MachineIdentifiers identifiers() const override;
  std::string computerName() const override;

 private:
  std::filesystem::path root_;
};

}  // namespace tav
