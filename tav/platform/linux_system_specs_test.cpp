#include "tav/platform/linux_system_specs.hpp"

#include <gtest/gtest.h>

#include "tav/testing/scratch_directory.hpp"

namespace tav {
namespace {

TEST(LinuxSystemSpecs, ReadsTheParticularsFromProcAndSys) {
  testing::ScratchDirectory root;
  root.write("proc/cpuinfo",
             "processor\t: 0\nvendor_id\t: GenuineIntel\nmodel name\t: Intel(R) Core(TM) i7-1185G7 @ 3.00GHz\n\n"
             "processor\t: 1\nmodel name\t: Intel(R) Core(TM) i7-1185G7 @ 3.00GHz\n");
  root.write("proc/meminfo", "MemTotal:       16314116 kB\nMemFree:         1000000 kB\n");
  root.write("proc/uptime", "350735.47 234388.90\n");
  root.write("sys/devices/system/cpu/present", "0-7\n");
  root.write("sys/devices/system/cpu/online", "0-3,6\n");
  root.write("sys/class/dmi/id/sys_vendor", "LENOVO\n");
  root.write("sys/class/dmi/id/product_name", "20XW\n");
  root.write("sys/class/drm/card0/device/vendor", "0x8086\n");
  root.write("sys/class/drm/card0/device/device", "0x9a49\n");
  root.write("sys/class/drm/card0/device/uevent", "DRIVER=i915\nPCI_CLASS=30000\n");
  root.write("sys/class/drm/card0-eDP-1/status", "connected\n");
  root.write("sys/class/thermal/thermal_zone0/temp", "91000\n");
  root.write("sys/class/thermal/thermal_zone0/trip_point_0_type", "passive\n");
  root.write("sys/class/thermal/thermal_zone0/trip_point_0_temp", "85000\n");
  root.write("sys/class/thermal/thermal_zone0/trip_point_1_type", "critical\n");
  root.write("sys/class/thermal/thermal_zone0/trip_point_1_temp", "105000\n");
  root.write("sys/class/thermal/thermal_zone1/temp", "40000\n");
  root.write("etc/os-release", "NAME=\"Debian GNU/Linux\"\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n");

  LinuxSystemSpecs specs(root.path(), [] { return std::optional<std::string>("0123456789abcdef0123"); });
  EXPECT_EQ(specs.sysctlString("hw.model"), "LENOVO 20XW");
  EXPECT_EQ(specs.sysctlString("machdep.cpu.brand_string"), "Intel(R) Core(TM) i7-1185G7 @ 3.00GHz");
  EXPECT_EQ(specs.sysctlString("hw.memsize"), "16705654784");  // 16314116 * 1024
  EXPECT_EQ(specs.sysctlString("hw.gpu"), "Intel (i915, 8086:9a49)");
  EXPECT_EQ(specs.sysctlString("hw.ncpu"), "8");
  EXPECT_EQ(specs.sysctlString("no.such.name"), std::nullopt);
  EXPECT_EQ(specs.activeProcessorCount(), 5u);
  EXPECT_EQ(specs.processorCount(), 8u);
  EXPECT_DOUBLE_EQ(specs.systemUptime(), 350735.47);
  EXPECT_EQ(specs.thermalState(), ThermalState::fair);  // above passive, below critical
  EXPECT_EQ(specs.operatingSystemVersionString().rfind("Debian GNU/Linux 12 (bookworm) (", 0), 0u);
  EXPECT_EQ(specs.instanceHash(), "0123456789abcdef0123");
  EXPECT_FALSE(specs.sysctlString("hw.machine").value_or("").empty());
}

TEST(LinuxSystemSpecs, MissingFilesGiveNothingRatherThanErrors) {
  testing::ScratchDirectory empty;
  LinuxSystemSpecs specs(empty.path());
  EXPECT_EQ(specs.sysctlString("hw.model"), std::nullopt);
  EXPECT_EQ(specs.sysctlString("hw.gpu"), std::nullopt);
  EXPECT_EQ(specs.physicalMemory(), 0u);
  EXPECT_EQ(specs.thermalState(), std::nullopt);
  EXPECT_EQ(specs.instanceHash(), std::nullopt);
  EXPECT_GT(specs.processorCount(), 0u);  // from sysconf when the lists are missing

  EXPECT_EQ(countCpuList("0-3,6,8-9"), 7u);
  EXPECT_EQ(countCpuList("0"), 1u);
  EXPECT_EQ(countCpuList("3-1"), std::nullopt);
  EXPECT_EQ(countCpuList("x"), std::nullopt);
}

}  // namespace
}  // namespace tav
