// The configuration fetcher that talks to NQS: it starts an app session when it starts (POST
// nqs/app_session, whose answer carries the configuration) and fetches again with GET nqs/app_session
// on its timer and on network recovery.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "tav/contracts/machine_identity.hpp"
#include "tav/contracts/system_specs_source.hpp"
#include "tav/reporting/app_config_fetcher.hpp"
#include "tav/reporting/nqs_requestor.hpp"

namespace tav {

/// The answer of both calls: {"config": <Config>}, the key required.
template <class Config>
struct AppSession {
  Config config;
};

template <AppConfig Config>
struct JsonCoder<AppSession<Config>> {
  static AppSession<Config> decode(const JsonValue& json, const JsonPath& path) {
    JsonObjectReader reader(json, path);
    return AppSession<Config>{reader.required<Config>("config")};
  }
  static void encode(JsonWriter& w, const AppSession<Config>& v) {
    w.beginObject();
    w.field("config", v.config);
    w.endObject();
  }
};

/// What an AppSessionAppConfigFetcher runs on besides the fetcher's own; each empty member takes the
/// process's own.
struct AppSessionEnvironment {
  AppConfigFetcherEnvironment fetcher;
  std::shared_ptr<RequestTransport> transport;      // RequestTransport::standard()
  std::shared_ptr<const MachineIdentity> identity;  // MachineIdentity::standard()
  const SystemSpecsSource* specs = nullptr;         // defaultSystemSpecsSource(); must outlive the fetcher
  /// Where the fetcher's progress lines go; standard output when empty.
  std::function<void(const std::string&)> print;
};

namespace detail {

/// The requestor of the fetcher: NQS's base with the path component "nqs" appended, so that its paths
/// are relative to that.
class AppSessionAPI final : public NQSRequestor {
 public:
  AppSessionAPI(std::shared_ptr<RequestTransport> transport, std::shared_ptr<const MachineIdentity> identity);
  static Url getAPIBase();
};

/// {"instance_payload": {"os_version", "device_model" (when known), "device_arch"}} from `specs`.
AnyEncodable appSessionRequestBody(const SystemSpecsSource& specs);
/// Writes `line` and a line feed to standard output.
void printToStandardOutput(const std::string& line);

}  // namespace detail

/// Made with `AppConfigFetcher<Config>::create<AppSessionAppConfigFetcher<Config>>(platform, env)` (or
/// a subclass that overrides the didReceive hooks). Once started it prints "[AppSessionAppConfigFetcher]
/// Creating app session…" and posts the session; a fetch (timer, network) that finds another running
/// makes no request. Each answer sets `result` and, when it decodes, the configuration; one that does
/// not decode (no "config", say) is a failure and the last good configuration stays.
template <AppConfig Config>
class AppSessionAppConfigFetcher : public AppConfigFetcher<Config> {
  using Base = AppConfigFetcher<Config>;

 public:
  static constexpr std::string_view sessionPath = "app_session";

  explicit AppSessionAppConfigFetcher(NQSRequestor::Platform platform, AppSessionEnvironment environment = {})
      : Base(std::move(environment.fetcher)),
        api_(std::make_unique<detail::AppSessionAPI>(std::move(environment.transport), std::move(environment.identity))),
        specs_(environment.specs != nullptr ? environment.specs : &defaultSystemSpecsSource()),
        print_(environment.print ? std::move(environment.print) : detail::printToStandardOutput) {
    api_->setPlatform(platform);
  }

  /// GET app_session, unless a fetch is running.
  void fetchConfig() override {
    if (!this->tryStartFetch()) return;
    print_("[AppSessionAppConfigFetcher] Retrieving config…");
    api_->template get<AppSession<Config>>(sessionPath, {}, completion());
  }

  const NQSRequestor& api() const { return *api_; }

 protected:
  void start() override {
    Base::start();
    createAppSession();
  }

 private:
  void createAppSession() {
    print_("[AppSessionAppConfigFetcher] Creating app session…");
    (void)this->tryStartFetch();
    api_->template post<AppSession<Config>>(sessionPath, {}, Requestor::Body::json(detail::appSessionRequestBody(*specs_)),
                                            completion());
  }

  Requestor::Completion<AppSession<Config>> completion() {
    return [weak = this->weak_from_this()](RequestResult<AppSession<Config>> answer) {
      auto core = weak.lock();
      if (!core) return;
      auto& self = static_cast<AppSessionAppConfigFetcher&>(*core);
      if (answer.isSuccess()) {
        self.setResult(typename Base::Result(answer.value().config));
        self.print_("[AppSessionAppConfigFetcher] Did fetch config…");
      } else {
        self.setResult(typename Base::Result(std::make_exception_ptr(answer.error())));
        self.print_(std::string("[AppSessionAppConfigFetcher] Couldn't fetch config: ") + answer.error().what());
      }
      self.finishFetch();
    };
  }

  std::unique_ptr<detail::AppSessionAPI> api_;
  const SystemSpecsSource* specs_;
  std::function<void(const std::string&)> print_;
};

}  // namespace tav
