#include "feedback_commands.hpp"

#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <future>
#include <iostream>
#include <memory>
#include <mutex>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "exit_status.hpp"
#include "tav/foundation/exception_description.hpp"
#include "tav/foundation/serial_queue_run_loop.hpp"
#include "tav/foundation/web_address.hpp"
#include "tav/platform/curl_requestor.hpp"
#include "tav/reporting/app_feedback_reporter.hpp"
#include "tav/reporting/app_session_app_config_fetcher.hpp"

namespace tav::tool {
namespace {

struct FeedbackOptions {
  std::string message;
  std::string email;
  std::string source = "adHoc";
  std::vector<std::string> attachments;
  std::string base;
};

/// Passes requests to the real transport and keeps each with its outcome, so the command can show
/// what went over the wire.
class RecordingTransport final : public RequestTransport {
 public:
  struct Exchange {
    URLRequest request;
    std::optional<HTTPResponse> response;
    std::optional<RequestorError> error;
  };

  RecordingTransport() : inner_(std::make_shared<CurlRequestTransport>()) {}
  void send(URLRequest request, Completion completion) override {
    inner_->send(request, [this, request, completion = std::move(completion)](RequestResult<HTTPResponse> result) {
      {
        std::lock_guard lock(mutex_);
        Exchange exchange{request, std::nullopt, std::nullopt};
        if (result.isSuccess()) exchange.response = result.value();
        else exchange.error = result.error();
        exchanges_.push_back(std::move(exchange));
      }
      completion(std::move(result));
    });
  }
  void post(std::function<void()> task) override { inner_->post(std::move(task)); }
  std::vector<Exchange> exchanges() const {
    std::lock_guard lock(mutex_);
    return exchanges_;
  }

 private:
  std::shared_ptr<RequestTransport> inner_;
  mutable std::mutex mutex_;
  std::vector<Exchange> exchanges_;  // guarded by mutex_
};

/// A text that is JSON is written as JSON, anything else as a string.
void writeJsonOrText(JsonWriter& w, const std::string& text) {
  try {
    w.raw(parseJson(text, boost::json::storage_ptr()));
  } catch (const DecodingError&) {
    w.string(text);
  }
}

void writeExchange(JsonWriter& w, const RecordingTransport::Exchange& exchange) {
  w.beginObject();
  w.key("request");
  w.beginObject();
  w.field("method", exchange.request.method);
  w.field("url", exchange.request.url);
  if (exchange.request.method == "PUT") {
    w.field("bytes", static_cast<std::int64_t>(exchange.request.body.size()));
  } else if (!exchange.request.body.empty()) {
    w.key("body");
    writeJsonOrText(w, exchange.request.body);
  }
  w.endObject();
  if (exchange.response) {
    w.key("response");
    w.beginObject();
    w.field("status", exchange.response->statusCode);
    w.key("body");
    writeJsonOrText(w, exchange.response->body);
    w.endObject();
  } else {
    w.key("error");
    w.beginObject();
    w.field("kind", std::string(kindName(exchange.error->kind())));
    w.field("isURLLoadingError", exchange.error->isURLLoadingError());
    w.field("message", std::string(exchange.error->what()));
    w.endObject();
  }
  w.endObject();
}

/// Makes the base of the requests made from now on `base` (when given) and the bundle's version the
/// tool's own (when the host has none). False, after saying why, for a base the requestor would refuse.
bool configureService(const std::string& base) {
  MainBundleInfo info = mainBundleInfo();
  if (!info.version) info.version = TAV_VERSION;
  setMainBundleInfo(info);
  if (base.empty()) return true;
  const std::optional<Url> url = Url::parse(base);
  if (!url || !Requestor::isAcceptableBase(*url)) {
    std::cerr << "tavo: refused base URL \"" << base << "\": it must be https, or http on a loopback address\n";
    return false;
  }
  setenv(NQSRequestor::baseURLEnvironmentVariable, base.c_str(), 1);
  return true;
}

/// Returns once the completion running now (the one that woke the caller) has returned, so that what
/// it holds is released on the completion thread before the caller releases the transport.
void waitForCompletionsToReturn(RequestTransport& transport) {
  std::promise<void> drained;
  transport.post([&drained] { drained.set_value(); });
  drained.get_future().wait();
}

/// The status for an error that ended a call: unreachable, a bad answer, a file, or anything else.
int statusFor(const std::exception_ptr& error) {
  try {
    std::rethrow_exception(error);
  } catch (const RequestorError& e) {
    return e.isURLLoadingError() ? kUnavailable : kProtocol;
  } catch (const std::filesystem::filesystem_error&) {
    return kNoInput;
  } catch (...) {
    return kSoftware;
  }
}

int sendFeedback(const FeedbackOptions& options) {
  const auto source = enumFromRawValue<AppFeedbackReporter::Feedback::Source>(options.source);
  if (!source) {
    std::cerr << "tavo: unknown source \"" << options.source << "\" (expected error or adHoc)\n";
    return kUsage;
  }
  std::vector<Url> attachments;
  for (const std::string& file : options.attachments) {
    std::error_code code;
    const auto absolute = std::filesystem::absolute(file, code);
    if (code || ::access(absolute.c_str(), R_OK) != 0) {
      std::cerr << "tavo: cannot open attachment \"" << file << "\": " << std::generic_category().message(errno) << '\n';
      return kNoInput;
    }
    attachments.push_back(Url::fileUrl(absolute));
  }
  if (!configureService(options.base)) return kUsage;

  auto transport = std::make_shared<RecordingTransport>();
  const AppFeedbackReporter::Feedback feedback{options.email, options.message, *source, std::nullopt};
  std::promise<std::exception_ptr> done;
  {
    AppFeedbackReporter reporter(AppFeedbackReporter::Environment{transport, nullptr, nullptr});
    reporter.sendFeedback(feedback, attachments, {}, [&done](std::exception_ptr error) { done.set_value(error); });
  }
  const std::exception_ptr error = done.get_future().get();
  waitForCompletionsToReturn(*transport);

  std::string out;
  JsonWriter w(out);
  w.beginObject();
  w.field("feedback", feedback);
  w.key("attachments");
  w.beginArray();
  for (const Url& attachment : attachments) w.string(attachment.lastPathComponent());
  w.endArray();
  w.key("exchanges");
  w.beginArray();
  for (const auto& exchange : transport->exchanges()) writeExchange(w, exchange);
  w.endArray();
  w.field("sent", error == nullptr);
  w.endObject();
  std::cout << out << '\n';
  if (!error) return kSuccess;
  std::cerr << "tavo: feedback not sent: " << describe(error) << '\n';
  return statusFor(error);
}

/// Whatever configuration the service serves, kept as the JSON it came as.
struct ServedConfig {
  JsonValue json;
  static std::string configKey() { return "tavo"; }
};

}  // namespace
}  // namespace tav::tool

template <>
struct tav::JsonCoder<tav::tool::ServedConfig> {
  static void encode(JsonWriter& w, const tool::ServedConfig& v) { w.raw(v.json); }
  static tool::ServedConfig decode(const JsonValue& json, const JsonPath&) {
    return {JsonValue(json, boost::json::storage_ptr())};
  }
};

namespace tav::tool {
namespace {

/// Hands the first outcome to the command.
class OneShotFetcher final : public AppSessionAppConfigFetcher<ServedConfig> {
 public:
  using AppSessionAppConfigFetcher::AppSessionAppConfigFetcher;
  using AppSessionAppConfigFetcher::didReceive;
  void didReceive(const std::optional<Result>& result) override {
    std::call_once(once_, [&] { first_.set_value(*result); });
  }
  Result first() { return first_.get_future().get(); }

 private:
  std::once_flag once_;
  std::promise<Result> first_;
};

int fetchConfig(const std::string& base) {
  if (!configureService(base)) return kUsage;
  // One session, nothing kept: the user's settings are not touched, and the network is not watched.
  SerialQueue timerQueue("com.morvane.tavo.config.timer");
  SerialQueueRunLoop runLoop(timerQueue);
  auto transport = std::make_shared<CurlRequestTransport>();
  AppSessionEnvironment environment{
      AppConfigFetcherEnvironment{std::make_shared<InMemoryUserDefaults>(), &runLoop, nullptr,
                                  std::make_unique<ScriptedNetworkPathMonitor>()},
      transport, nullptr, nullptr,
      [](const std::string& line) { std::cerr << "tavo: " << line << '\n'; }};
  auto fetcher = AppConfigFetcher<ServedConfig>::create<OneShotFetcher>(NQSRequestor::Platform::none, std::move(environment));
  const auto result = fetcher->first();
  waitForCompletionsToReturn(*transport);
  fetcher.reset();
  if (!result.isSuccess()) return statusFor(result.error());  // the fetcher has said why
  std::string out;
  JsonWriter w(out);
  w.raw(result.config()->json);
  std::cout << out << '\n';
  return kSuccess;
}

}  // namespace

void addFeedbackCommands(CLI::App& app, int& status) {
  const char* baseHelp = "Base URL of the service (https, or http on a loopback address); default: TAV_NQS_BASE_URL, "
                         "the NQSBaseURL setting, else the production service";
  auto options = std::make_shared<FeedbackOptions>();
  auto* feedback = app.add_subcommand(
      "feedback", "Send feedback to the online service: the attachments are zipped and uploaded to the URL it answers");
  feedback->add_option("--message", options->message, "The feedback's text")->required();
  feedback->add_option("--attach", options->attachments, "A file or folder to attach; repeatable")->allow_extra_args(false);
  feedback->add_option("--email", options->email, "The user's e-mail address (default: none)");
  feedback->add_option("--source", options->source, "adHoc (default) or error");
  feedback->add_option("--base", options->base, baseHelp);
  feedback->callback([options, &status] { status = sendFeedback(*options); });

  auto base = std::make_shared<std::string>();
  auto* config = app.add_subcommand("config", "The remote configuration the online service serves");
  config->require_subcommand(1);
  auto* fetch = config->add_subcommand("fetch", "Start an app session and print the configuration it answers, as JSON");
  fetch->add_option("--base", *base, baseHelp);
  fetch->callback([base, &status] { status = fetchConfig(*base); });
}

}  // namespace tav::tool
