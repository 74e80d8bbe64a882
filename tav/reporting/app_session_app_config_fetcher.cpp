#include "tav/reporting/app_session_app_config_fetcher.hpp"

#include <cstdio>

#include "tav/foundation/specs.hpp"

namespace tav::detail {
namespace {

struct InstancePayload {
  std::string osVersion;
  std::optional<std::string> deviceModel;
  std::string deviceArch;
};

}  // namespace
}  // namespace tav::detail

namespace tav {

template <>
struct JsonCoder<detail::InstancePayload> {
  static void encode(JsonWriter& w, const detail::InstancePayload& v) {
    w.beginObject();
    w.key("instance_payload");
    w.beginObject();
    w.field("os_version", v.osVersion);
    w.optionalField("device_model", v.deviceModel);
    w.field("device_arch", v.deviceArch);
    w.endObject();
    w.endObject();
  }
};

namespace detail {

AppSessionAPI::AppSessionAPI(std::shared_ptr<RequestTransport> transport, std::shared_ptr<const MachineIdentity> identity)
    : NQSRequestor(std::move(transport), std::move(identity)) {
  setAPIBase(getAPIBase());
}

Url AppSessionAPI::getAPIBase() { return NQSRequestor::getAPIBase().appendingPathComponent("nqs"); }

AnyEncodable appSessionRequestBody(const SystemSpecsSource& specs) {
  return AnyEncodable(InstancePayload{specs.operatingSystemVersionString(), specs.sysctlString("hw.model"),
                                      specs.sysctlString("hw.machine").value_or("")});
}

void printToStandardOutput(const std::string& line) {
  std::fwrite(line.data(), 1, line.size(), stdout);
  std::fputc('\n', stdout);
  std::fflush(stdout);
}

}  // namespace detail
}  // namespace tav
