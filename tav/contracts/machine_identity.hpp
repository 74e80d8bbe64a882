// The machine's identifiers, from which the service's anonymous instance id is made, and its name.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace tav {

/// What a platform offers to tell this machine from others. Empty texts and an absent address stand
/// for what could not be read; reading never fails.
struct MachineIdentifiers {
  std::string platformUUID;
  std::string serialNumber;
  /// The hardware address of the primary network interface.
  std::optional<std::array<std::uint8_t, 6>> primaryMACAddress;

  friend bool operator==(const MachineIdentifiers&, const MachineIdentifiers&) = default;
};

/// Reads the identifiers and the computer's name. Implementations are thread-safe.
class MachineIdentity {
 public:
  virtual ~MachineIdentity() = default;
  virtual MachineIdentifiers identifiers() const = 0;
  /// The name the user gave the computer; empty when there is none.
  virtual std::string computerName() const = 0;

  /// The installed identity, else the platform's (LinuxMachineIdentity, in tavcommon_platform).
  static std::shared_ptr<const MachineIdentity> standard();
  /// Installs what standard() returns from now on (tests install fixed identifiers); null restores
  /// the platform's.
  static void setStandard(std::shared_ptr<const MachineIdentity> identity);
  /// The platform's own identity. Defined in tavcommon_platform.
  static std::shared_ptr<const MachineIdentity> platform();
};

/// Fixed identifiers, for tests and for hosts that know better.
class FixedMachineIdentity final : public MachineIdentity {
 public:
  FixedMachineIdentity(MachineIdentifiers identifiers, std::string computerName)
      : identifiers_(std::move(identifiers)), computerName_(std::move(computerName)) {}
  MachineIdentifiers identifiers() const override { return identifiers_; }
  std::string computerName() const override { return computerName_; }

 private:
  MachineIdentifiers identifiers_;
  std::string computerName_;
};

}  // namespace tav
