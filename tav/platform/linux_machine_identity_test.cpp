#include "tav/platform/linux_machine_identity.hpp"

#include <filesystem>

#include <gtest/gtest.h>

#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

namespace fs = std::filesystem;

/// An interface under sys/class/net: its type, its address, and a device link when physical.
void addInterface(const testing::ScratchDirectory& root, const std::string& name, int type, const std::string& mac,
                  bool physical) {
  const std::string dir = "sys/class/net/" + name;
  root.write(dir + "/type", std::to_string(type) + "\n");
  root.write(dir + "/address", mac + "\n");
  if (physical) fs::create_directories(root / (dir + "/device"));
}

using MAC = std::array<std::uint8_t, 6>;

TEST(LinuxMachineIdentity, ReadsEachIdentifierFromTheFirstSourceThatHasIt) {
  testing::ScratchDirectory root;
  const LinuxMachineIdentity identity(root.path());
  // Nothing readable: empty values, never an error.
  EXPECT_EQ(identity.identifiers(), MachineIdentifiers{});
  EXPECT_EQ(identity.computerName(), "");

  root.write("var/lib/dbus/machine-id", "0123456789abcdef0123456789abcdef\n");
  EXPECT_EQ(identity.identifiers().platformUUID, "0123456789abcdef0123456789abcdef");
  root.write("etc/machine-id", "fedcba9876543210fedcba9876543210\n");
  EXPECT_EQ(identity.identifiers().platformUUID, "fedcba9876543210fedcba9876543210");
  root.write("sys/class/dmi/id/product_uuid", "4C4C4544-0042-3510-8052-B2C04F4E4B32\n");
  root.write("sys/class/dmi/id/product_serial", " 2B5RNK2 \n");
  EXPECT_EQ(identity.identifiers().platformUUID, "4C4C4544-0042-3510-8052-B2C04F4E4B32");
  EXPECT_EQ(identity.identifiers().serialNumber, "2B5RNK2");

  root.write("etc/machine-info", "ICON_NAME=computer\nPRETTY_HOSTNAME=\"Ada's Studio\"\n");
  EXPECT_EQ(identity.computerName(), "Ada's Studio");
}

TEST(LinuxMachineIdentity, PrimaryMACIsTheDefaultRoutesElseThePhysicalEthernetOrWirelessOne) {
  testing::ScratchDirectory root;
  const LinuxMachineIdentity identity(root.path());
  addInterface(root, "lo", 772, "00:00:00:00:00:00", false);
  addInterface(root, "docker0", 1, "02:42:ac:11:00:01", false);
  EXPECT_EQ(identity.identifiers().primaryMACAddress, (MAC{0x02, 0x42, 0xac, 0x11, 0x00, 0x01}));
  addInterface(root, "wlp2s0", 1, "A4:83:E7:0B:1C:FE", true);
  addInterface(root, "enp3s0", 1, "00:00:00:00:00:00", true);  // no address: passed over
  EXPECT_EQ(identity.identifiers().primaryMACAddress, (MAC{0xa4, 0x83, 0xe7, 0x0b, 0x1c, 0xfe}));

  addInterface(root, "eth1", 1, "52:54:00:12:34:56", true);
  root.write("proc/net/route",
        "Iface\tDestination\tGateway \tFlags\n"
        "docker0\t0011AC0A\t00000000\t0001\n"
        "eth1\t00000000\t0102A8C0\t0003\n");
  EXPECT_EQ(identity.identifiers().primaryMACAddress, (MAC{0x52, 0x54, 0x00, 0x12, 0x34, 0x56}));
}

}  // namespace
}  // namespace tav
