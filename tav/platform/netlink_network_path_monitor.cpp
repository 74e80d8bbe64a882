#include "tav/platform/netlink_network_path_monitor.hpp"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "tav/contracts/logger.hpp"
#include "tav/foundation/serial_queue.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("NetlinkNetworkPathMonitor");
  return instance;
}

/// A file descriptor closed when it goes out of scope.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd = -1) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

FileDescriptor netlinkSocket(std::uint32_t groups) {
  FileDescriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  if (socket.get() < 0) throw std::system_error(errno, std::generic_category(), "cannot open a netlink socket");
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  if (::bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    throw std::system_error(errno, std::generic_category(), "cannot bind the netlink socket");
  }
  return socket;
}

/// Sends one dump request of `type` and calls `each` for every message of the answer.
template <class Each>
void dump(int socket, std::uint16_t type, unsigned char family, Each&& each) {
  struct {
    nlmsghdr header;
    rtgenmsg body;
  } request{};
  request.header.nlmsg_len = NLMSG_LENGTH(sizeof(rtgenmsg));
  request.header.nlmsg_type = type;
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.header.nlmsg_seq = 1;
  request.body.rtgen_family = family;
  if (::send(socket, &request, request.header.nlmsg_len, 0) < 0) {
    throw std::system_error(errno, std::generic_category(), "netlink request failed");
  }
  std::vector<char> buffer(32 * 1024);
  for (;;) {
    const ssize_t received = ::recv(socket, buffer.data(), buffer.size(), 0);
    if (received < 0 && errno == EINTR) continue;
    if (received < 0) throw std::system_error(errno, std::generic_category(), "netlink answer failed");
    auto remaining = static_cast<unsigned int>(received);
    for (auto* message = reinterpret_cast<nlmsghdr*>(buffer.data()); NLMSG_OK(message, remaining);
         message = NLMSG_NEXT(message, remaining)) {
      if (message->nlmsg_type == NLMSG_DONE) return;
      if (message->nlmsg_type == NLMSG_ERROR) {
        const auto* error = static_cast<const nlmsgerr*>(NLMSG_DATA(message));
        throw std::system_error(-error->error, std::generic_category(), "netlink dump failed");
      }
      each(message);
    }
  }
}

struct Link {
  std::string name;
  bool usable = false;  // up, running, not a loopback
};

bool countsAsRoute(const rtmsg& route, const rtattr* destination) {
  if (route.rtm_table != RT_TABLE_MAIN || route.rtm_type == RTN_MULTICAST) return false;
  if (route.rtm_family == AF_INET6 && destination != nullptr && route.rtm_dst_len > 0) {
    const auto* address = static_cast<const unsigned char*>(RTA_DATA(destination));
    if (address[0] == 0xfe && (address[1] & 0xc0) == 0x80) return false;  // fe80::/10, link-local
    if (address[0] == 0xff) return false;                                  // ff00::/8, multicast
  }
  return true;
}

}  // namespace

NetworkPath readNetworkPath() {
  FileDescriptor socket = netlinkSocket(0);
  std::map<int, Link> links;
  dump(socket.get(), RTM_GETLINK, AF_UNSPEC, [&](nlmsghdr* message) {
    if (message->nlmsg_type != RTM_NEWLINK) return;
    const auto* info = static_cast<const ifinfomsg*>(NLMSG_DATA(message));
    Link link;
    link.usable = (info->ifi_flags & IFF_UP) != 0 && (info->ifi_flags & IFF_RUNNING) != 0 &&
                  (info->ifi_flags & IFF_LOOPBACK) == 0;
    int length = static_cast<int>(IFLA_PAYLOAD(message));
    for (auto* attribute = IFLA_RTA(info); RTA_OK(attribute, length); attribute = RTA_NEXT(attribute, length)) {
      if (attribute->rta_type == IFLA_IFNAME) link.name = static_cast<const char*>(RTA_DATA(attribute));
    }
    links[info->ifi_index] = link;
  });
  std::set<std::string> carrying;
  dump(socket.get(), RTM_GETROUTE, AF_UNSPEC, [&](nlmsghdr* message) {
    if (message->nlmsg_type != RTM_NEWROUTE) return;
    const auto* route = static_cast<const rtmsg*>(NLMSG_DATA(message));
    const rtattr* destination = nullptr;
    int outputInterface = 0;
    int length = static_cast<int>(RTM_PAYLOAD(message));
    for (auto* attribute = RTM_RTA(route); RTA_OK(attribute, length); attribute = RTA_NEXT(attribute, length)) {
      if (attribute->rta_type == RTA_DST) destination = attribute;
      if (attribute->rta_type == RTA_OIF) std::memcpy(&outputInterface, RTA_DATA(attribute), sizeof outputInterface);
    }
    auto link = links.find(outputInterface);
    if (link != links.end() && link->second.usable && countsAsRoute(*route, destination)) {
      carrying.insert(link->second.name);
    }
  });
  NetworkPath path;
  path.interfaces.assign(carrying.begin(), carrying.end());
  path.status = path.interfaces.empty() ? NetworkPathStatus::unsatisfied : NetworkPathStatus::satisfied;
  return path;
}

struct NetlinkNetworkPathMonitor::Impl {
  std::mutex mutex;
  Handler handler;               // set before start
  SerialQueue* queue = nullptr;  // guarded by mutex; null once cancelled
  NetworkPath path;              // guarded by mutex
  bool hasReported = false;      // guarded by mutex
  int wakeFd = -1;
  std::thread thread;

  /// Reads the path and reports it when it changed (or was never reported).
  void refresh() {
    NetworkPath now;
    try {
      now = readNetworkPath();
    } catch (const std::exception& e) {
      logger().error("Cannot read the network path: {}", e.what());
    }
    std::lock_guard lock(mutex);
    if (queue == nullptr || (hasReported && now == path)) return;
    path = now;
    hasReported = true;
    queue->async([handler = handler, now] {
      if (handler) handler(now);
    });
  }

  void run(FileDescriptor events) {
    refresh();
    std::vector<char> buffer(32 * 1024);
    for (;;) {
      pollfd fds[2] = {{events.get(), POLLIN, 0}, {wakeFd, POLLIN, 0}};
      if (::poll(fds, 2, -1) < 0) {
        if (errno == EINTR) continue;
        logger().error("poll failed: {}", std::strerror(errno));
        return;
      }
      if ((fds[1].revents & POLLIN) != 0) return;
      // Every message is only a cue: drain what has come and read the whole picture once.
      bool changed = false;
      for (;;) {
        const ssize_t received = ::recv(events.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (received > 0) {
          changed = true;
          continue;
        }
        // ENOBUFS: the kernel dropped events; the fresh read below covers them.
        if (received < 0 && errno == ENOBUFS) changed = true;
        break;
      }
      if (changed) refresh();
    }
  }
};

NetlinkNetworkPathMonitor::NetlinkNetworkPathMonitor() : impl_(std::make_unique<Impl>()) {}

NetlinkNetworkPathMonitor::~NetlinkNetworkPathMonitor() { cancel(); }

void NetlinkNetworkPathMonitor::setPathUpdateHandler(Handler handler) { impl_->handler = std::move(handler); }

void NetlinkNetworkPathMonitor::start(SerialQueue& queue) {
  if (impl_->thread.joinable()) return;
  FileDescriptor events = netlinkSocket(RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR | RTMGRP_IPV4_ROUTE |
                                        RTMGRP_IPV6_ROUTE);
  impl_->wakeFd = eventfd(0, EFD_CLOEXEC);
  if (impl_->wakeFd < 0) throw std::system_error(errno, std::generic_category(), "eventfd");
  {
    std::lock_guard lock(impl_->mutex);
    impl_->queue = &queue;
  }
  impl_->thread = std::thread([impl = impl_.get(), events = std::move(events)]() mutable {
    impl->run(std::move(events));
  });
}

void NetlinkNetworkPathMonitor::cancel() {
  {
    std::lock_guard lock(impl_->mutex);
    impl_->queue = nullptr;
  }
  if (impl_->thread.joinable()) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(impl_->wakeFd, &one, sizeof one);
    impl_->thread.join();
  }
  if (impl_->wakeFd >= 0) {
    ::close(impl_->wakeFd);
    impl_->wakeFd = -1;
  }
}

NetworkPath NetlinkNetworkPathMonitor::currentPath() const {
  std::lock_guard lock(impl_->mutex);
  return impl_->path;
}

std::unique_ptr<NetworkPathMonitor> makeNetworkPathMonitor() { return std::make_unique<NetlinkNetworkPathMonitor>(); }

}  // namespace tav
