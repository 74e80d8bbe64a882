// The network path on Linux, from the kernel's routing netlink (NETLINK_ROUTE).
//
// The path is satisfied while some interface that is not a loopback is up and running (IFF_UP and
// IFF_RUNNING) and the main routing table has a route through it (IPv6 link-local and multicast routes,
// which every up interface gets, do not count). The monitor listens to the link, address and route
// groups and, on any change, reads the links and routes afresh.
#pragma once

#include <memory>

#include "tav/contracts/network_path_monitor.hpp"

namespace tav {

/// See NetworkPathMonitor. The netlink socket is read on a thread of the monitor's own; reports are
/// posted to the queue only when the path changed.
class NetlinkNetworkPathMonitor final : public NetworkPathMonitor {
 public:
  NetlinkNetworkPathMonitor();
  ~NetlinkNetworkPathMonitor() override;

  void setPathUpdateHandler(Handler handler) override;
  /// Throws std::system_error when the netlink socket cannot be opened.
  void start(SerialQueue& queue) override;
  void cancel() override;
  NetworkPath currentPath() const override;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// The path as the kernel describes it now (one synchronous netlink dump of links and routes). Throws
/// std::system_error when netlink cannot be asked.
NetworkPath readNetworkPath();

}  // namespace tav
