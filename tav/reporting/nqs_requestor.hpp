// The requestor of every call to NQS, the maker's online service: its base address, its JSON
// conventions (snake-case keys), the headers that identify the application, and an anonymous instance
// id that is stable per machine.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/machine_identity.hpp"
#include "tav/contracts/requestor.hpp"
#include "tav/contracts/user_defaults.hpp"

namespace tav {

/// Each reporter owns one. Built once, it is used from any thread: `instance` never changes, and
/// `platform` is set before the first request (AppEventReporter::create does so).
///
/// The base address comes, first found first: from the environment variable TAV_NQS_BASE_URL, from the
/// text stored under "NQSBaseURL" in the standard settings, else from `shouldUseStaging` (production
/// or staging). A base that is not HTTPS is refused unless it is loopback: every request then fails
/// with invalidRequest, and the constructor logs why.
class NQSRequestor : public Requestor {
 public:
  enum class Platform : std::uint32_t { none = 0, mac = 2, ios = 4, ipados = 6, visionos = 8 };

  static constexpr std::string_view applicationName = "tavo";
  static constexpr std::string_view productionBaseURL = "https://nqs.morvane.com/";
  static constexpr std::string_view stagingBaseURL = "https://nqs-staging.morvane.com/";
  /// Settings keys and the environment variable named above.
  static constexpr std::string_view referrerKey = "AppEventReferrer";
  static constexpr std::string_view shouldUseStagingKey = "NQSShouldUseStaging";
  static constexpr std::string_view baseURLKey = "NQSBaseURL";
  static constexpr const char* baseURLEnvironmentVariable = "TAV_NQS_BASE_URL";

  /// `transport` and `identity` default to the process's (RequestTransport::standard(),
  /// MachineIdentity::standard()). Computes `instance`, then sets the base from getAPIBase() and the
  /// encoder to snake-case keys.
  explicit NQSRequestor(std::shared_ptr<RequestTransport> transport = nullptr,
                        std::shared_ptr<const MachineIdentity> identity = nullptr);

  const std::string& instance() const { return instance_; }
  Platform platform() const { return platform_.load(); }
  void setPlatform(Platform platform) { platform_.store(platform); }

  /// Shared by the process, kept in UserDefaults::standard(). The referrer is the host's to set (from a
  /// campaign link, say); absent by default. Staging is off by default.
  static std::optional<std::string> referrer();
  static void setReferrer(std::optional<std::string> referrer);
  static bool shouldUseStaging();
  static void setShouldUseStaging(bool useStaging);

  /// The base address as described above, whether acceptable or not.
  static Url getAPIBase();
  /// The request of Requestor::createRequest with "User-Agent" ("tavo-<version>-1-<platform>"),
  /// "Mv-Instance", "Mv-Language", "Mv-Release-Channel" (when the bundle has a channel) and
  /// "Mv-Referrer" (only when a referrer is set).
  URLRequest createRequest(std::string_view path, std::string_view method, const Query& query,
                           const std::optional<Body>& body) const override;

  /// The first 20 hex digits of the SHA-1 of "<platform UUID>:<serial number>:<MAC>", the MAC as six
  /// "%02x" bytes joined with ":" ("00:00:00:00:00:00" when there is none).
  static std::string generateInstanceHeader(const MachineIdentity& identity = *MachineIdentity::standard());
  /// The computer's name, or "Unknown" when it has none.
  static std::string getMachineName(const MachineIdentity& identity = *MachineIdentity::standard());

 private:
  std::string instance_;
  std::atomic<Platform> platform_{Platform::none};
};

template <>
struct EnumTraits<NQSRequestor::Platform> {
  using P = NQSRequestor::Platform;
  static constexpr std::array cases{
      EnumCase<P, std::uint32_t>{P::none, 0},    EnumCase<P, std::uint32_t>{P::mac, 2},
      EnumCase<P, std::uint32_t>{P::ios, 4},     EnumCase<P, std::uint32_t>{P::ipados, 6},
      EnumCase<P, std::uint32_t>{P::visionos, 8},
  };
};

}  // namespace tav
