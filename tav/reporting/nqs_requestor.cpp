#include "tav/reporting/nqs_requestor.hpp"

#include <cstdlib>

#include <fmt/format.h>

#include "tav/contracts/logger.hpp"
#include "tav/contracts/main_bundle.hpp"
#include "tav/foundation/codable_user_default.hpp"
#include "tav/foundation/digest.hpp"
#include "tav/foundation/web_address.hpp"

namespace tav {
namespace {

const Logger& logger() {
  static const Logger instance("NQSRequestor");
  return instance;
}

UserDefault<std::optional<std::string>> referrerDefault() {
  return UserDefault<std::optional<std::string>>(std::string(NQSRequestor::referrerKey), std::nullopt);
}

UserDefault<bool> stagingDefault() {
  return UserDefault<bool>(std::string(NQSRequestor::shouldUseStagingKey), false);
}

}  // namespace

NQSRequestor::NQSRequestor(std::shared_ptr<RequestTransport> transport, std::shared_ptr<const MachineIdentity> identity)
    : Requestor(std::move(transport)),
      instance_(generateInstanceHeader(identity ? *identity : *MachineIdentity::standard())) {
  Url base = getAPIBase();
  if (!isAcceptableBase(base)) {
    logger().error("Refusing NQS base URL \"{}\": it must be https (plain http only on a loopback address)",
                   base.absoluteString());
  }
  setAPIBase(std::move(base));
  encoder().keyEncodingStrategy = KeyEncodingStrategy::convertToSnakeCase;
}

std::optional<std::string> NQSRequestor::referrer() { return referrerDefault().get(); }
void NQSRequestor::setReferrer(std::optional<std::string> referrer) { referrerDefault().set(referrer); }
bool NQSRequestor::shouldUseStaging() { return stagingDefault().get(); }
void NQSRequestor::setShouldUseStaging(bool useStaging) { stagingDefault().set(useStaging); }

Url NQSRequestor::getAPIBase() {
  const char* fromEnvironment = std::getenv(baseURLEnvironmentVariable);
  if (fromEnvironment != nullptr && *fromEnvironment != '\0') return *Url::parse(fromEnvironment);
  const auto fromSettings = UserDefault<std::optional<std::string>>(std::string(baseURLKey), std::nullopt).get();
  if (fromSettings && !fromSettings->empty()) return *Url::parse(*fromSettings);
  return *Url::parse(shouldUseStaging() ? stagingBaseURL : productionBaseURL);
}

URLRequest NQSRequestor::createRequest(std::string_view path, std::string_view method, const Query& query,
                                       const std::optional<Body>& body) const {
  URLRequest request = Requestor::createRequest(path, method, query, body);
  const MainBundle bundle = MainBundle::current();
  request.headers.set("User-Agent", fmt::format("{}-{}-1-{}", applicationName, mainBundleInfo().version.value_or(""),
                                                rawValue(platform())));
  request.headers.set("Mv-Instance", instance_);
  if (!bundle.preferredLocalizations.empty()) request.headers.set("Mv-Language", bundle.preferredLocalizations.front());
  if (bundle.releaseChannel) request.headers.set("Mv-Release-Channel", std::string(rawValue(*bundle.releaseChannel)));
  if (auto referrer = NQSRequestor::referrer()) request.headers.set("Mv-Referrer", *referrer);
  return request;
}

std::string NQSRequestor::generateInstanceHeader(const MachineIdentity& identity) {
  const MachineIdentifiers ids = identity.identifiers();
  std::string mac = "00:00:00:00:00:00";
  if (ids.primaryMACAddress) {
    const auto& b = *ids.primaryMACAddress;
    mac = fmt::format("{:02x}:{:02x}:{:02x}:{:02x}:{:02x}:{:02x}", b[0], b[1], b[2], b[3], b[4], b[5]);
  }
  return sha1(ids.platformUUID + ":" + ids.serialNumber + ":" + mac).substr(0, 20);
}

std::string NQSRequestor::getMachineName(const MachineIdentity& identity) {
  std::string name = identity.computerName();
  return name.empty() ? "Unknown" : name;
}

}  // namespace tav
