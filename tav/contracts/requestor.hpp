// Requests to a JSON web service: the request and answer values, the transport contract that carries
// them, and `Requestor`, which builds each request at its base address, encodes the body, and decodes
// the answer.
//
// Failures are one type, RequestorError, whose kind tells a failure to reach the service (refused,
// unknown host, timed out, TLS, connection lost) from an answer of the service (any HTTP status,
// an oversized or undecodable body): only the former is worth trying again.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tav/contracts/any_encodable.hpp"
#include "tav/contracts/json_coder.hpp"
#include "tav/contracts/url.hpp"
#include "tav/contracts/shared_text_error.hpp"

namespace tav {

/// Header fields in the order set, names compared without regard to case.
class HTTPHeaders {
 public:
  using Field = std::pair<std::string, std::string>;

  /// Sets `name` to `value`, replacing any field of that name in place.
  void set(std::string_view name, std::string value);
  /// Removes the field of that name, if any.
  void remove(std::string_view name);
  /// The value of the field of that name; absent when there is none.
  std::optional<std::string> value(std::string_view name) const;
  const std::vector<Field>& fields() const { return fields_; }

  friend bool operator==(const HTTPHeaders&, const HTTPHeaders&) = default;

 private:
  std::vector<Field> fields_;
};

/// One request as it goes out: method, absolute URL, header fields and body bytes, and a time limit of
/// its own for the whole exchange (absent: the transport's).
struct URLRequest {
  std::string method;
  std::string url;
  HTTPHeaders headers;
  std::string body;
  std::optional<std::chrono::milliseconds> timeoutInterval{};
};

/// One answer of a server, whatever its status.
struct HTTPResponse {
  int statusCode = 0;
  HTTPHeaders headers;
  std::string body;
};

/// The one failure of a request, with a message that names what went wrong and the URL.
class RequestorError : public SharedTextError {
 public:
  enum class Kind {
    // The service was not reached, or the connection broke before its whole answer came: worth
    // retrying.
    cannotConnectToHost,    // refused, unreachable
    cannotFindHost,         // the name did not resolve
    timedOut,               // connecting or the whole exchange took too long
    secureConnectionFailed, // TLS handshake or certificate verification failed
    networkConnectionLost,  // the connection closed or failed mid-exchange
    // Final: retrying the same request would give the same result.
    invalidRequest,         // a refused base URL, a body that could not be encoded
    unacceptableStatusCode, // the service answered with a status outside 200-299
    responseTooLarge,       // the answer's body passed the transport's cap
    decodingFailed,         // the answer's body did not decode as the expected type
  };

  RequestorError(Kind kind, std::string message, std::optional<int> statusCode = std::nullopt)
      : SharedTextError(std::move(message)), kind_(kind), statusCode_(statusCode) {}

  Kind kind() const { return kind_; }
  /// The HTTP status for unacceptableStatusCode and decodingFailed; absent otherwise.
  std::optional<int> statusCode() const { return statusCode_; }
  /// True for a failure to reach the service (the first five kinds).
  bool isURLLoadingError() const { return kind_ <= Kind::networkConnectionLost; }

 private:
  Kind kind_;
  std::optional<int> statusCode_;
};

/// The name of a kind, as the tool prints it ("timedOut").
std::string_view kindName(RequestorError::Kind kind);

/// A value, or the error that took its place.
template <class T>
class RequestResult {
 public:
  RequestResult(T value) : storage_(std::move(value)) {}                  // NOLINT: implicit by design
  RequestResult(RequestorError error) : storage_(std::move(error)) {}     // NOLINT
  bool isSuccess() const { return storage_.index() == 0; }
  /// The value; throws the error when there is none.
  const T& value() const {
    if (!isSuccess()) throw std::get<1>(storage_);
    return std::get<0>(storage_);
  }
  /// The error; throws std::logic_error on a success.
  const RequestorError& error() const {
    if (isSuccess()) throw std::logic_error("RequestResult holds a value, not an error");
    return std::get<1>(storage_);
  }

 private:
  std::variant<T, RequestorError> storage_;
};

/// What carries requests to servers. Implementations: CurlRequestTransport (tavcommon_platform) and
/// test doubles.
///
/// `send` returns at once and may be called from any thread. The completion runs exactly once, on a
/// background thread of the transport and never on the caller's, with the answer of the server
/// (whatever its status) or a RequestorError of a URL-loading kind, responseTooLarge or
/// invalidRequest. A transport never follows redirects.
class RequestTransport {
 public:
  using Completion = std::function<void(RequestResult<HTTPResponse>)>;
  virtual ~RequestTransport() = default;
  virtual void send(URLRequest request, Completion completion) = 0;
  /// Runs `task` on the thread that completions run on; returns at once.
  virtual void post(std::function<void()> task) = 0;

  /// The transport of the platform library (libcurl), shared by the process: what a Requestor uses when
  /// it is given none. Defined in tavcommon_platform.
  static std::shared_ptr<RequestTransport> standard();
};

/// How an encoder writes record keys.
enum class KeyEncodingStrategy { useDefaultKeys, convertToSnakeCase };

/// Encodes request bodies: each value through its JsonCoder, then its keys by the strategy.
struct JSONEncoder {
  KeyEncodingStrategy keyEncodingStrategy = KeyEncodingStrategy::useDefaultKeys;

  std::string encode(const AnyEncodable& value) const;
  template <class T>
  std::string encode(const T& value) const {
    return encode(AnyEncodable(value));
  }
};

/// Decodes answers through the type's JsonCoder; incoming keys are read as they stand.
struct JSONDecoder {
  template <class T>
  T decode(std::string_view text) const {
    return decodeJson<T>(text);
  }
};

/// Sends requests to one service. A subclass adds what its service needs in createRequest.
///
/// Thread-safe for sending once configured: get/post/put/patch/delete_ may be called from any thread and
/// return at once; completions run on the transport's background thread. `setAPIBase` and the coders
/// are set up before the first request.
///
/// A base that is not HTTPS is refused (every request fails with invalidRequest), except a loopback
/// base (127.0.0.0/8, ::1, localhost) over plain HTTP, which local tests and tools use.
class Requestor {
 public:
  using Query = std::map<std::string, std::string>;

  /// A request body: a JSON value encoded with `encoder`, or bytes sent as they are.
  class Body {
   public:
    template <class T>
    static Body json(T value) {
      return Body(AnyEncodable(std::move(value)));
    }
    static Body data(std::string bytes, std::string contentType) {
      return Body(std::pair(std::move(bytes), std::move(contentType)));
    }
    const AnyEncodable* jsonValue() const { return std::get_if<AnyEncodable>(&content_); }
    const std::pair<std::string, std::string>* bytes() const { return std::get_if<1>(&content_); }

   private:
    explicit Body(std::variant<AnyEncodable, std::pair<std::string, std::string>> content)
        : content_(std::move(content)) {}
    std::variant<AnyEncodable, std::pair<std::string, std::string>> content_;
  };

  template <class Response>
  using Completion = std::function<void(RequestResult<Response>)>;

  /// Uses `transport`, or RequestTransport::standard() when null.
  explicit Requestor(std::shared_ptr<RequestTransport> transport = nullptr);
  virtual ~Requestor() = default;
  Requestor(const Requestor&) = delete;
  Requestor& operator=(const Requestor&) = delete;

  const std::optional<Url>& apiBase() const { return apiBase_; }
  void setAPIBase(std::optional<Url> base) { apiBase_ = std::move(base); }
  JSONEncoder& encoder() { return encoder_; }
  const JSONEncoder& encoder() const { return encoder_; }
  JSONDecoder& decoder() { return decoder_; }
  const JSONDecoder& decoder() const { return decoder_; }
  const std::shared_ptr<RequestTransport>& transport() const { return transport_; }

  /// The request for `path` under apiBase (path segments appended, never resolved relative), with the
  /// query percent-encoded in key order, the body encoded, and "Content-Type" and "Accept" set.
  /// Throws RequestorError(invalidRequest) for a missing or refused base or a body that cannot be
  /// encoded.
  virtual URLRequest createRequest(std::string_view path, std::string_view method, const Query& query,
                                   const std::optional<Body>& body) const;

  template <class Response>
  void get(std::string_view path, const Query& query, Completion<Response> completion) {
    run<Response>(path, "GET", query, std::nullopt, std::move(completion));
  }
  template <class Response>
  void post(std::string_view path, const Query& query, Body body, Completion<Response> completion) {
    run<Response>(path, "POST", query, std::move(body), std::move(completion));
  }
  template <class Response>
  void put(std::string_view path, const Query& query, Body body, Completion<Response> completion) {
    run<Response>(path, "PUT", query, std::move(body), std::move(completion));
  }
  template <class Response>
  void patch(std::string_view path, const Query& query, Body body, Completion<Response> completion) {
    run<Response>(path, "PATCH", query, std::move(body), std::move(completion));
  }
  template <class Response>
  void delete_(std::string_view path, const Query& query, Completion<Response> completion) {
    run<Response>(path, "DELETE", query, std::nullopt, std::move(completion));
  }

  /// Sends a request built elsewhere (a URL the service handed out, say) and passes the raw answer:
  /// any status other than 200-299 is an unacceptableStatusCode error.
  void send(URLRequest request, Completion<HTTPResponse> completion);

  /// True for an https URL, or an http URL whose host is loopback (127.0.0.0/8, ::1, localhost).
  static bool isAcceptableBase(const Url& base);

 private:
  template <class Response>
  void run(std::string_view path, std::string_view method, const Query& query, std::optional<Body> body,
           Completion<Response> completion) {
    URLRequest request;
    try {
      request = createRequest(path, method, query, body);
    } catch (const RequestorError& error) {
      transport_->post([completion = std::move(completion), error] { completion(error); });
      return;
    }
    send(std::move(request), [completion = std::move(completion), decoder = decoder_](RequestResult<HTTPResponse> answer) {
      if (!answer.isSuccess()) return completion(answer.error());
      try {
        completion(decoder.decode<Response>(answer.value().body));
      } catch (const DecodingError& error) {
        completion(RequestorError(RequestorError::Kind::decodingFailed,
                                  std::string("the answer did not decode: ") + error.what(), answer.value().statusCode));
      }
    });
  }
  std::shared_ptr<RequestTransport> transport_;
  std::optional<Url> apiBase_;
  JSONEncoder encoder_;
  JSONDecoder decoder_;
};

}  // namespace tav
