#include "tav/platform/netlink_network_path_monitor.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <future>

#include "tav/foundation/serial_queue.hpp"

namespace tav {
namespace {

TEST(NetlinkNetworkPathMonitor, FirstReportIsTheKernelsPathWithoutLoopback) {
  const NetworkPath now = readNetworkPath();
  EXPECT_EQ(std::count(now.interfaces.begin(), now.interfaces.end(), "lo"), 0);
  EXPECT_EQ(now.status == NetworkPathStatus::satisfied, !now.interfaces.empty());

  SerialQueue queue("com.morvane.tests.networkMonitor");
  std::promise<NetworkPath> first;
  NetlinkNetworkPathMonitor monitor;
  monitor.setPathUpdateHandler([&first, &queue, reported = false](const NetworkPath& path) mutable {
    EXPECT_TRUE(queue.isCurrent());
    if (!reported) first.set_value(path);
    reported = true;
  });
  monitor.start(queue);
  auto future = first.get_future();
  ASSERT_EQ(future.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(future.get(), now);  // links and routes do not change in a test container
  monitor.cancel();
  queue.drain();
  EXPECT_EQ(monitor.currentPath(), now);
}

TEST(ScriptedNetworkPathMonitor, ReportsEachUpdateInOrderOnTheQueueAfterStart) {
  SerialQueue queue("com.morvane.tests.scriptedMonitor");
  std::vector<NetworkPathStatus> seen;
  ScriptedNetworkPathMonitor monitor;
  monitor.setPathUpdateHandler([&](const NetworkPath& path) {
    EXPECT_TRUE(queue.isCurrent());
    seen.push_back(path.status);
  });
  monitor.update(NetworkPathStatus::satisfied);  // before start: becomes the first report
  monitor.start(queue);
  monitor.update(NetworkPathStatus::unsatisfied);
  monitor.update(NetworkPath{NetworkPathStatus::satisfied, {"eth0"}});
  queue.drain();
  monitor.cancel();
  monitor.update(NetworkPathStatus::unsatisfied);
  queue.drain();
  EXPECT_EQ(seen, (std::vector<NetworkPathStatus>{NetworkPathStatus::satisfied, NetworkPathStatus::unsatisfied,
                                                  NetworkPathStatus::satisfied}));
  EXPECT_EQ(monitor.currentPath().status, NetworkPathStatus::unsatisfied);
}

}  // namespace
}  // namespace tav
