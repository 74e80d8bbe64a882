#include "tav/reporting/app_profile_reporter.hpp"

#include <stdexcept>

#include "tav/contracts/logger.hpp"
#include "tav/foundation/codable_user_default.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("AppProfileReporter");
  return instance;
}

UserDefault<std::optional<std::vector<std::string>>> pendingUseCases(const std::shared_ptr<UserDefaults>& defaults) {
  return {std::string(AppProfileReporter::pendingUseCasesKey), std::nullopt, defaults};
}

}  // namespace

void JsonCoder<AppProfileRequest>::encode(JsonWriter& w, const AppProfileRequest& v) {
  w.beginObject();
  w.key("data");
  w.beginObject();
  w.field("useCases", v.data.useCases);
  w.endObject();
  w.endObject();
}

AppProfileResponse JsonCoder<AppProfileResponse>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);  // an object of any content
  return {};
}

AppProfileReporter::AppProfileReporter(std::shared_ptr<UserDefaults> defaults, std::shared_ptr<RequestTransport> transport,
                                       std::shared_ptr<const MachineIdentity> identity)
    : requestor_(std::make_unique<NQSRequestor>(std::move(transport), std::move(identity))), defaults_(std::move(defaults)) {
  if (!defaults_) throw std::invalid_argument("AppProfileReporter needs a settings store");
  requestor_->setPlatform(NQSRequestor::Platform::mac);
  requestor_->encoder().keyEncodingStrategy = KeyEncodingStrategy::convertToSnakeCase;
}

void AppProfileReporter::reportUseCases(const std::vector<std::string>& useCases) {
  pendingUseCases(defaults_).set(useCases);
  send(useCases);
}

void AppProfileReporter::retryPendingUseCases() {
  const auto pending = pendingUseCases(defaults_).get();
  if (!pending || pending->empty()) return;
  logger().info("Retrying a held-over app profile report of {} use case(s)", pending->size());
  reportUseCases(*pending);
}

void AppProfileReporter::send(const std::vector<std::string>& useCases) {
  requestor_->post<AppProfileResponse>(
      profilePath, {}, Requestor::Body::json(AppProfileRequest{{useCases}}),
      [defaults = defaults_](const RequestResult<AppProfileResponse>& answer) {
        if (answer.isSuccess()) {
          pendingUseCases(defaults).set(std::nullopt);
          return;
        }
        logger().error("Error while reporting app profile to NQS: {}", answer.error().what());
        // Kept only when the service was not reached; an answer of the service abandons the report.
        if (!answer.error().isURLLoadingError()) pendingUseCases(defaults).set(std::nullopt);
      });
}

}  // namespace tav
