#include "tav/contracts/requestor.hpp"

#include <algorithm>
#include <cctype>

#include <fmt/format.h>

#include "tav/contracts/snake_case_keys.hpp"

namespace tav {
namespace {

bool sameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) == std::tolower(static_cast<unsigned char>(y));
         });
}

/// RFC 3986 unreserved characters pass; every other byte is %XX.
std::string percentEncoded(std::string_view text) {
  std::string out;
  for (char c : text) {
    const auto u = static_cast<unsigned char>(c);
    if (std::isalnum(u) || c == '-' || c == '.' || c == '_' || c == '~') {
      out += c;
    } else {
      out += fmt::format("%{:02X}", u);
    }
  }
  return out;
}

bool isLoopbackHost(std::string host) {
  std::transform(host.begin(), host.end(), host.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  if (host == "localhost" || host == "[::1]" || host == "::1") return true;
  // 127.0.0.0/8 written as a dotted quad.
  if (host.rfind("127.", 0) != 0) return false;
  int parts = 0;
  std::size_t start = 0;
  while (start <= host.size()) {
    std::size_t end = host.find('.', start);
    if (end == std::string::npos) end = host.size();
    std::string_view part(host.data() + start, end - start);
    if (part.empty() || part.size() > 3 || !std::all_of(part.begin(), part.end(), [](char c) { return c >= '0' && c <= '9'; }) ||
        std::stoi(std::string(part)) > 255) {
      return false;
    }
    ++parts;
    start = end + 1;
  }
  return parts == 4;
}

}  // namespace

void HTTPHeaders::set(std::string_view name, std::string value) {
  for (auto& field : fields_) {
    if (sameName(field.first, name)) {
      field.second = std::move(value);
      return;
    }
  }
  fields_.emplace_back(std::string(name), std::move(value));
}

void HTTPHeaders::remove(std::string_view name) {
  std::erase_if(fields_, [&](const Field& field) { return sameName(field.first, name); });
}

std::optional<std::string> HTTPHeaders::value(std::string_view name) const {
  for (const auto& field : fields_) {
    if (sameName(field.first, name)) return field.second;
  }
  return std::nullopt;
}

std::string_view kindName(RequestorError::Kind kind) {
  using Kind = RequestorError::Kind;
  switch (kind) {
    case Kind::cannotConnectToHost: return "cannotConnectToHost";
    case Kind::cannotFindHost: return "cannotFindHost";
    case Kind::timedOut: return "timedOut";
    case Kind::secureConnectionFailed: return "secureConnectionFailed";
    case Kind::networkConnectionLost: return "networkConnectionLost";
    case Kind::invalidRequest: return "invalidRequest";
    case Kind::unacceptableStatusCode: return "unacceptableStatusCode";
    case Kind::responseTooLarge: return "responseTooLarge";
    case Kind::decodingFailed: return "decodingFailed";
  }
  return "unknown";
}

std::string JSONEncoder::encode(const AnyEncodable& value) const {
  std::string text;
  JsonWriter writer(text);
  value.encode(writer);
  if (keyEncodingStrategy == KeyEncodingStrategy::useDefaultKeys) return text;
  JsonValue tree = parseJson(text, boost::json::storage_ptr());
  convertKeysToSnakeCase(tree);
  std::string converted;
  JsonWriter convertedWriter(converted);
  convertedWriter.raw(tree);
  return converted;
}

Requestor::Requestor(std::shared_ptr<RequestTransport> transport)
    : transport_(transport ? std::move(transport) : RequestTransport::standard()) {}

bool Requestor::isAcceptableBase(const Url& base) {
  const std::string scheme = base.scheme();
  const auto host = base.host();
  if (!host) return false;
  if (scheme == "https") return true;
  return scheme == "http" && isLoopbackHost(*host);
}

URLRequest Requestor::createRequest(std::string_view path, std::string_view method, const Query& query,
                                    const std::optional<Body>& body) const {
  if (!apiBase_) throw RequestorError(RequestorError::Kind::invalidRequest, "no base URL is set");
  if (!isAcceptableBase(*apiBase_)) {
    throw RequestorError(RequestorError::Kind::invalidRequest,
                         "refused base URL \"" + apiBase_->absoluteString() +
                             "\": only https, or http on a loopback address, is allowed");
  }
  URLRequest request;
  request.method = std::string(method);
  std::string url = apiBase_->absoluteString();
  if (!url.empty() && url.back() != '/' && !path.empty() && path.front() != '/') url += '/';
  if (!url.empty() && url.back() == '/' && !path.empty() && path.front() == '/') path.remove_prefix(1);
  url += path;
  char separator = '?';
  for (const auto& [key, value] : query) {
    url += separator;
    url += percentEncoded(key);
    url += '=';
    url += percentEncoded(value);
    separator = '&';
  }
  request.url = std::move(url);
  request.headers.set("Accept", "application/json");
  if (body) {
    if (const AnyEncodable* json = body->jsonValue()) {
      try {
        request.body = encoder_.encode(*json);
      } catch (const std::exception& error) {
        throw RequestorError(RequestorError::Kind::invalidRequest,
                             std::string("the request body could not be encoded: ") + error.what());
      }
      request.headers.set("Content-Type", "application/json");
    } else if (const auto* bytes = body->bytes()) {
      request.body = bytes->first;
      request.headers.set("Content-Type", bytes->second);
    }
  }
  return request;
}

void Requestor::send(URLRequest request, Completion<HTTPResponse> completion) {
  std::string url = request.url;
  transport_->send(std::move(request), [completion = std::move(completion), url = std::move(url)](RequestResult<HTTPResponse> answer) {
    if (answer.isSuccess() && (answer.value().statusCode < 200 || answer.value().statusCode > 299)) {
      const int status = answer.value().statusCode;
      return completion(RequestorError(RequestorError::Kind::unacceptableStatusCode,
                                       fmt::format("{} answered with HTTP status {}", url, status), status));
    }
    completion(std::move(answer));
  });
}

}  // namespace tav
