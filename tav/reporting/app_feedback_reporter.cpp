#include "tav/reporting/app_feedback_reporter.hpp"

#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "tav/foundation/staging_directory.hpp"

namespace tav {
namespace {

namespace fs = std::filesystem;

const Logger& logger() {
  static const Logger instance("AppFeedbackReporter");
  return instance;
}

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

void writeFile(const fs::path& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  out.close();
  if (!out) throw fs::filesystem_error("cannot write log", path, std::make_error_code(std::errc::io_error));
}

std::string readFile(const fs::path& path) {
  std::string bytes(static_cast<std::size_t>(fs::file_size(path)), '\0');
  std::ifstream in(path, std::ios::binary);
  if (!in.read(bytes.data(), static_cast<std::streamsize>(bytes.size()))) {
    throw fs::filesystem_error("cannot read archive", path, std::make_error_code(std::errc::io_error));
  }
  return bytes;
}

/// Gathers the logs in a fresh staging directory and returns the bytes of its archive. The archive's
/// own folder is removed once read: nothing of the call is left on disk.
std::string stageAndArchive(const std::vector<Url>& studioLogs, const std::map<std::string, std::string>& mobileLogs) {
  StagingDirectory staging;
  for (const Url& log : studioLogs) {
    if (!log.isFileUrl()) throw std::invalid_argument("log " + quoted(log.absoluteString()) + " is not a file URL");
    // Two logs of one name are an error, as a copy onto an existing item is: neither is dropped silently.
    const fs::path target = staging.path() / log.lastPathComponent();
    if (fs::exists(fs::symlink_status(target))) {
      throw fs::filesystem_error("cannot copy log: one of that name is already staged", log.filePath(), target,
                                 std::make_error_code(std::errc::file_exists));
    }
    fs::copy(log.filePath(), target, fs::copy_options::recursive);
  }
  for (const auto& [name, bytes] : mobileLogs) {
    const fs::path file(name + ".zip");
    if (name.empty() || file.has_parent_path() || name == "." || name == "..") {
      throw std::invalid_argument("mobile log name " + quoted(name) + " is not a file name");
    }
    writeFile(staging.path() / file, bytes);
  }
  fs::path archive;
  staging.archiveToFile(AppFeedbackReporter::archiveFilename,
                        [&archive](const ArchiveResult& result) { archive = result.get().filePath(); });
  std::string bytes = readFile(archive);
  std::error_code ignored;
  fs::remove_all(archive.parent_path(), ignored);
  return bytes;
}

/// PUTs `archive` to `uploadURL` and passes the outcome, whatever the HTTP status, to `completion`.
void upload(RequestTransport& transport, const std::string& uploadURL, std::string archive,
            const AppFeedbackReporter::Completion& completion) {
  const std::optional<Url> url = Url::parse(uploadURL);
  if (!url || !url->host() || !Requestor::isAcceptableBase(*url)) {
    completion(std::make_exception_ptr(RequestorError(
        RequestorError::Kind::invalidRequest,
        "the attachments upload URL " + quoted(uploadURL) + " is not an https URL (or http on a loopback address)")));
    return;
  }
  URLRequest request{"PUT", url->absoluteString(), {}, std::move(archive), AppFeedbackReporter::uploadTimeout};
  request.headers.set("Content-Type", "application/zip");
  transport.send(std::move(request), [completion](RequestResult<HTTPResponse> answer) {
    completion(answer.isSuccess() ? nullptr : std::make_exception_ptr(answer.error()));
  });
}

}  // namespace

AppFeedbackReporter::AppFeedbackReporter(Environment environment)
    : requestor_(std::make_shared<NQSRequestor>(std::move(environment.transport), std::move(environment.identity))),
      scheduler_(environment.scheduler ? std::move(environment.scheduler) : TaskScheduler::utility()) {
  requestor_->setPlatform(NQSRequestor::Platform::mac);
  requestor_->encoder().keyEncodingStrategy = KeyEncodingStrategy::convertToSnakeCase;
}

void AppFeedbackReporter::sendFeedback(Feedback feedback, std::vector<Url> studioLogs,
                                       std::map<std::string, std::string> mobileLogs, Completion completion) {
  scheduler_->async([requestor = requestor_, feedback = std::move(feedback), studioLogs = std::move(studioLogs),
                     mobileLogs = std::move(mobileLogs), completion = std::move(completion)]() mutable {
    std::string archive;
    try {
      archive = stageAndArchive(studioLogs, mobileLogs);
    } catch (...) {
      completion(std::current_exception());
      return;
    }
    requestor->post<AppFeedbackResponse>(
        feedbacksPath, {}, Requestor::Body::json(feedback),
        [transport = requestor->transport(), feedback, archive = std::move(archive),
         completion = std::move(completion)](RequestResult<AppFeedbackResponse> answer) mutable {
          if (!answer.isSuccess()) {
            logger().error("Error while sending app feedback ({}) to NQS: {}", description(feedback), answer.error().what());
            completion(std::make_exception_ptr(answer.error()));
            return;
          }
          upload(*transport, answer.value().attachmentsUploadURL, std::move(archive), completion);
        });
  });
}

std::string description(const AppFeedbackReporter::Feedback& feedback) {
  return "Feedback(email: " + quoted(feedback.email) + ", comments: " + quoted(feedback.comments) +
         ", source: " + std::string(rawValue(feedback.source)) +
         ", sentryEventId: " + (feedback.sentryEventId ? quoted(*feedback.sentryEventId) : std::string("nil")) + ")";
}

void JsonCoder<AppFeedbackReporter::Feedback>::encode(JsonWriter& w, const AppFeedbackReporter::Feedback& v) {
  w.beginObject();
  w.field("user_email", v.email);
  w.field("comments", v.comments);
  w.field("source", v.source);
  w.optionalField("sentry_event_id", v.sentryEventId);
  w.endObject();
}

AppFeedbackReporter::Feedback JsonCoder<AppFeedbackReporter::Feedback>::decode(const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  return {reader.required<std::string>("user_email"), reader.required<std::string>("comments"),
          reader.required<AppFeedbackReporter::Feedback::Source>("source"),
          reader.optional<std::string>("sentry_event_id")};
}

AppFeedbackResponse JsonCoder<AppFeedbackResponse>::decode(
    const JsonValue& json, const JsonPath& path) {
  JsonObjectReader reader(json, path);
  return {reader.required<std::string>("attachments_upload_url")};
}

}  // namespace tav
