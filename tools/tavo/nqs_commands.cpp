#include "nqs_commands.hpp"

#include <future>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "exit_status.hpp"
#include "tav/foundation/web_address.hpp"
#include "tav/platform/curl_requestor.hpp"
#include "tav/reporting/app_event_reporter.hpp"

namespace tav::tool {
namespace {

struct NqsOptions {
  std::string base;                 // empty: the configured base
  std::string type;                 // send-event: the event's wire name or case name
  std::vector<std::string> fields;  // send-event: K=V
};

/// A text that reads as JSON is kept as that JSON ("3", "true", "{...}"); anything else is a string.
JsonValue fieldValue(const std::string& text) {
  try {
    return parseJson(text, boost::json::storage_ptr());
  } catch (const DecodingError&) {
    return JsonValue(text);
  }
}

void writeHeaders(JsonWriter& w, const HTTPHeaders& headers) {
  w.beginObject();
  for (const auto& [name, value] : headers.fields()) w.field(name, value);
  w.endObject();
}

/// A body that is JSON is shown as JSON, any other as text.
void writeBody(JsonWriter& w, const std::string& body) {
  try {
    w.raw(parseJson(body, boost::json::storage_ptr()));
  } catch (const DecodingError&) {
    w.string(body);
  }
}

/// Sends `request` and prints {"request": {...}, "response": {...}} or {"request", "error"}; returns
/// the exit status.
int exchange(NQSRequestor& requestor, URLRequest request) {
  std::promise<RequestResult<HTTPResponse>> answered;
  requestor.transport()->send(request, [&answered](RequestResult<HTTPResponse> result) { answered.set_value(std::move(result)); });
  const RequestResult<HTTPResponse> result = answered.get_future().get();

  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.key("request");
  w.beginObject();
  w.field("method", request.method);
  w.field("url", request.url);
  w.key("headers");
  writeHeaders(w, request.headers);
  if (!request.body.empty()) {
    w.key("body");
    writeBody(w, request.body);
  }
  w.endObject();
  int status = kSuccess;
  if (result.isSuccess()) {
    const HTTPResponse& response = result.value();
    w.key("response");
    w.beginObject();
    w.field("status", response.statusCode);
    w.key("headers");
    writeHeaders(w, response.headers);
    w.key("body");
    writeBody(w, response.body);
    w.endObject();
    if (response.statusCode < 200 || response.statusCode > 299) status = kProtocol;
  } else {
    const RequestorError& error = result.error();
    w.key("error");
    w.beginObject();
    w.field("kind", std::string(kindName(error.kind())));
    w.field("isURLLoadingError", error.isURLLoadingError());
    w.field("message", std::string(error.what()));
    w.endObject();
    std::cerr << "tavo: " << error.what() << '\n';
    status = error.isURLLoadingError() ? kUnavailable : kProtocol;
  }
  w.endObject();
  std::cout << out << '\n';
  return status;
}

/// The requestor for the command: the base given on the command line, else the configured one.
/// Empty when the base is refused (after saying so).
std::unique_ptr<NQSRequestor> makeRequestor(const NqsOptions& options, std::shared_ptr<RequestTransport> transport) {
  MainBundleInfo info = mainBundleInfo();
  if (!info.version) info.version = TAV_VERSION;
  setMainBundleInfo(info);
  auto requestor = std::make_unique<NQSRequestor>(std::move(transport));
  if (!options.base.empty()) requestor->setAPIBase(Url::parse(options.base));
  if (!requestor->apiBase() || !Requestor::isAcceptableBase(*requestor->apiBase())) {
    std::cerr << "tavo: refused base URL \"" << (requestor->apiBase() ? requestor->apiBase()->absoluteString() : "")
              << "\": it must be https, or http on a loopback address\n";
    return nullptr;
  }
  return requestor;
}

int ping(const NqsOptions& options) {
  auto transport = std::make_shared<CurlRequestTransport>();
  auto requestor = makeRequestor(options, transport);
  if (!requestor) return kUsage;
  return exchange(*requestor, requestor->createRequest("nqs/app_session", "GET", {}, std::nullopt));
}

int sendEvent(const NqsOptions& options) {
  const std::optional<AppEventType> type = enumFromRawValue<AppEventType>(options.type);
  if (!type) {
    std::cerr << "tavo: unknown event type \"" << options.type << "\" (expected a wire name such as video.played)\n";
    return kUsage;
  }
  JsonObject payload;
  for (const std::string& field : options.fields) {
    const auto equals = field.find('=');
    if (equals == std::string::npos || equals == 0) {
      std::cerr << "tavo: --field \"" << field << "\" is not KEY=VALUE\n";
      return kUsage;
    }
    payload[field.substr(0, equals)] = fieldValue(field.substr(equals + 1));
  }
  auto transport = std::make_shared<CurlRequestTransport>();
  auto requestor = makeRequestor(options, transport);
  if (!requestor) return kUsage;
  AppEventRequest event{Uuid::random(), *type, std::nullopt, std::chrono::system_clock::now()};
  if (!options.fields.empty()) event.data = AppEventRequest::EventData{AnyEncodable(AnyCodable(std::move(payload)))};
  return exchange(*requestor, requestor->createRequest(AppEventReporter::eventsPath, "POST", {},
                                                       Requestor::Body::json(std::move(event))));
}

}  // namespace

void addNqsCommands(CLI::App& app, int& status) {
  auto options = std::make_shared<NqsOptions>();
  auto* nqs = app.add_subcommand("nqs", "Talk to the online service (NQS) by hand: print the request and the answer as JSON");
  nqs->require_subcommand(1);
  const char* baseHelp = "Base URL of the service (https, or http on a loopback address); default: TAV_NQS_BASE_URL, "
                         "the NQSBaseURL setting, else the production service";

  auto* pingCommand = nqs->add_subcommand("ping", "GET nqs/app_session and show the answer or the connection error");
  pingCommand->add_option("--base", options->base, baseHelp);
  pingCommand->callback([options, &status] { status = ping(*options); });

  auto* send = nqs->add_subcommand("send-event", "POST one app event to nqs/app_events and show the answer");
  send->add_option("type", options->type, "The event's wire name, e.g. video.played")->required();
  send->add_option("--field", options->fields, "KEY=VALUE for the event's payload (a JSON value or a text); repeatable")
      ->allow_extra_args(false);
  send->add_option("--base", options->base, baseHelp);
  send->callback([options, &status] { status = sendEvent(*options); });
}

}  // namespace tav::tool
