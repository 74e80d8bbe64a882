// Reports the use cases a user picked to NQS, holding the report over in the settings until it has gone
// through, so that a report made offline is not lost.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/machine_identity.hpp"
#include "tav/contracts/user_defaults.hpp"
#include "tav/reporting/nqs_requestor.hpp"

namespace tav {

/// The body: {"data": {"use_cases": [...]}} once the requestor's snake-case keys are applied.
struct AppProfileData {
  std::vector<std::string> useCases;
};
struct AppProfileRequest {
  AppProfileData data;
};
/// The answer: its contents are not read, only whether it is a JSON object.
struct AppProfileResponse {};

template <>
struct JsonCoder<AppProfileRequest> {
  static void encode(JsonWriter& w, const AppProfileRequest& v);
};
template <>
struct JsonCoder<AppProfileResponse> {
  static AppProfileResponse decode(const JsonValue& json, const JsonPath& path);
};

/// Two states, told by the key "NQS_PENDING_USE_CASES" in `defaults`: nothing pending (absent), or one
/// report pending (the list). A new report replaces a pending one. A success removes the key; a failure
/// to reach the service keeps it for retryPendingUseCases (the host decides when, at launch say); an
/// answer of the service that is not a success abandons the report and removes it.
///
/// Threads: both operations may be called from any thread and return once the key is stored; the
/// outcome is handled on the transport's thread. No lock: the store is the state.
class AppProfileReporter {
 public:
  static constexpr std::string_view pendingUseCasesKey = "NQS_PENDING_USE_CASES";
  static constexpr std::string_view profilePath = "nqs/app_profile";

  /// `transport` and `identity` default to the process's. Throws std::invalid_argument for null defaults.
  explicit AppProfileReporter(std::shared_ptr<UserDefaults> defaults, std::shared_ptr<RequestTransport> transport = nullptr,
                              std::shared_ptr<const MachineIdentity> identity = nullptr);

  /// Stores `useCases` under the key, then posts them.
  void reportUseCases(const std::vector<std::string>& useCases);
  /// Sends the held-over report again; does nothing (and logs nothing) when none is pending.
  void retryPendingUseCases();

  const std::shared_ptr<UserDefaults>& defaults() const { return defaults_; }
  const NQSRequestor& requestor() const { return *requestor_; }

 private:
  void send(const std::vector<std::string>& useCases);

  std::unique_ptr<NQSRequestor> requestor_;
  std::shared_ptr<UserDefaults> defaults_;
};

}  // namespace tav
