// Sends a user's feedback to NQS and then uploads a zip of log files to the URL the service hands back.
#pragma once

#include <array>
#include <chrono>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tav/contracts/enum_table.hpp"
#include "tav/contracts/logger.hpp"
#include "tav/contracts/machine_identity.hpp"
#include "tav/foundation/task_scheduler.hpp"
#include "tav/reporting/nqs_requestor.hpp"

namespace tav {

/// The answer to a feedback: {"attachments_upload_url": text}, required.
struct AppFeedbackResponse {
  std::string attachmentsUploadURL;
};

/// Keeps no state between calls: each sendFeedback gathers the logs in a staging directory of its own,
/// packs them into "feedback.zip", posts the feedback, and PUTs the archive to the
/// "attachments_upload_url" of the answer, a plain request without the service's headers, with a
/// 60-second limit, whose HTTP status is not looked at.
///
/// Threads: sendFeedback may be called from any thread and returns at once; the file steps run on the
/// scheduler, the requests on the transport. The completion runs exactly once, with null on success
/// or the first error (a log that cannot be copied names its file; a refused answer, the URL), on the
/// thread of whatever finished last. A call in flight keeps what it needs alive: the reporter may go
/// before it ends.
class AppFeedbackReporter {
 public:
  /// The feedback record; its JSON keys are fixed: "user_email", "comments", "source" and
  /// "sentry_event_id" (left out when absent).
  struct Feedback {
    enum class Source { error, adHoc };
    std::string email;
    std::string comments;
    Source source = Source::adHoc;
    std::optional<std::string> sentryEventId;
    friend bool operator==(const Feedback&, const Feedback&) = default;
  };
  using AppFeedbackResponse = tav::AppFeedbackResponse;
  using Completion = std::function<void(std::exception_ptr)>;

  struct Environment {
    std::shared_ptr<RequestTransport> transport;      // RequestTransport::standard(); also carries the upload
    std::shared_ptr<const MachineIdentity> identity;  // MachineIdentity::standard()
    std::shared_ptr<TaskScheduler> scheduler;         // TaskScheduler::utility(): the file steps
  };

  static constexpr std::string_view feedbacksPath = "nqs/app_feedbacks";
  static constexpr std::string_view archiveFilename = "feedback.zip";
  static constexpr std::chrono::seconds uploadTimeout{60};

  /// The requestor's platform is mac and its encoder writes snake-case keys.
  explicit AppFeedbackReporter(Environment environment = {});

  /// Copies each of `studioLogs` (files or folders) into the staging directory under its last path
  /// component, writes each of `mobileLogs` as "<key>.zip", archives, posts `feedback`, uploads the
  /// archive, then calls `completion`. Every failure ends the call with completion(error); a failed post
  /// is also logged ("Error while sending app feedback (...) to NQS: ...").
  void sendFeedback(Feedback feedback, std::vector<Url> studioLogs, std::map<std::string, std::string> mobileLogs,
                    Completion completion);

  const NQSRequestor& requestor() const { return *requestor_; }

 private:
  std::shared_ptr<NQSRequestor> requestor_;
  std::shared_ptr<TaskScheduler> scheduler_;
};

/// "Feedback(email: \"...\", comments: \"...\", source: adHoc, sentryEventId: nil)", for logs.
std::string description(const AppFeedbackReporter::Feedback& feedback);

template <>
struct EnumTraits<AppFeedbackReporter::Feedback::Source> {
  using S = AppFeedbackReporter::Feedback::Source;
  static constexpr std::array cases{EnumCase<S>{S::error, "error"}, EnumCase<S>{S::adHoc, "adHoc"}};
};
template <>
struct JsonCoder<AppFeedbackReporter::Feedback> {
  static void encode(JsonWriter& w, const AppFeedbackReporter::Feedback& v);
  static AppFeedbackReporter::Feedback decode(const JsonValue& json, const JsonPath& path);
};
template <>
struct JsonCoder<AppFeedbackResponse> {
  static AppFeedbackResponse decode(const JsonValue& json, const JsonPath& path);
};

}  // namespace tav
