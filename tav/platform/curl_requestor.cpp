#include "tav/platform/curl_requestor.hpp"

#include <algorithm>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <curl/curl.h>
#include <fmt/format.h>

#include "tav/foundation/serial_queue.hpp"

namespace tav {
namespace {

struct MultiDeleter {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct SlistDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using MultiHandle = std::unique_ptr<CURLM, MultiDeleter>;
using EasyHandle = std::unique_ptr<CURL, EasyDeleter>;
using HeaderList = std::unique_ptr<curl_slist, SlistDeleter>;

void initialiseCurlOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

/// Which failure a libcurl result is, as the requestor tells them apart.
RequestorError::Kind kindOf(CURLcode code) {
  using Kind = RequestorError::Kind;
  switch (code) {
    case CURLE_COULDNT_CONNECT: return Kind::cannotConnectToHost;
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_RESOLVE_PROXY: return Kind::cannotFindHost;
    case CURLE_OPERATION_TIMEDOUT: return Kind::timedOut;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CERTPROBLEM:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
    case CURLE_SSL_CRL_BADFILE:
    case CURLE_USE_SSL_FAILED: return Kind::secureConnectionFailed;
    case CURLE_UNSUPPORTED_PROTOCOL:
    case CURLE_URL_MALFORMAT: return Kind::invalidRequest;
    default: return Kind::networkConnectionLost;
  }
}

}  // namespace

/// One request in flight: the easy handle and everything it points at.
struct Transfer {
  URLRequest request;
  RequestTransport::Completion completion;
  EasyHandle easy;
  HeaderList headerList;
  HTTPResponse response;
  std::size_t maximumBytes = 0;
  bool tooLarge = false;
  char errorText[CURL_ERROR_SIZE] = {};

  static std::size_t onBody(char* data, std::size_t size, std::size_t count, void* user) {
    auto* self = static_cast<Transfer*>(user);
    const std::size_t bytes = size * count;
    if (self->response.body.size() + bytes > self->maximumBytes) {
      self->tooLarge = true;
      return 0;  // ends the transfer with CURLE_WRITE_ERROR
    }
    self->response.body.append(data, bytes);
    return bytes;
  }

  static std::size_t onHeader(char* data, std::size_t size, std::size_t count, void* user) {
    auto* self = static_cast<Transfer*>(user);
    const std::size_t bytes = size * count;
    std::string_view line(data, bytes);
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) line.remove_suffix(1);
    if (line.rfind("HTTP/", 0) == 0) {
      self->response.headers = HTTPHeaders();  // a new answer (after a 100 Continue, say)
    } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
      std::string_view value = line.substr(colon + 1);
      while (!value.empty() && (value.front() == ' ' || value.front() == '\t')) value.remove_prefix(1);
      self->response.headers.set(line.substr(0, colon), std::string(value));
    }
    return bytes;
  }
};

struct CurlRequestTransport::Engine {
  Engine(CurlRequestTransport& transport, Options settings) : owner(transport), options(settings) {
    initialiseCurlOnce();
    multi.reset(curl_multi_init());
    if (!multi) throw std::runtime_error("libcurl could not make a multi handle");
    curl_multi_setopt(multi.get(), CURLMOPT_MAX_HOST_CONNECTIONS, settings.maximumConnectionsPerHost);
    curl_multi_setopt(multi.get(), CURLMOPT_PIPELINING, CURLPIPE_MULTIPLEX);
    worker = std::thread([this] { run(); });
  }

  ~Engine() {
    {
      std::lock_guard lock(mutex);
      stopping = true;
    }
    curl_multi_wakeup(multi.get());
    worker.join();
  }

  void enqueue(std::unique_ptr<Transfer> transfer) {
    {
      std::lock_guard lock(mutex);
      inbox.push_back(std::move(transfer));
    }
    curl_multi_wakeup(multi.get());
  }

  void start(std::unique_ptr<Transfer> transfer) {
    transfer->easy.reset(curl_easy_init());
    if (!transfer->easy) {
      finish(std::move(transfer), RequestorError(RequestorError::Kind::invalidRequest, "libcurl could not make a handle"));
      return;
    }
    CURL* easy = transfer->easy.get();
    const URLRequest& request = transfer->request;
    transfer->maximumBytes = options.maximumResponseBytes;
    curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 1L);
    curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 2L);
    curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, static_cast<long>(options.connectTimeout.count()));
    curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS,
                     static_cast<long>(request.timeoutInterval.value_or(options.requestTimeout).count()));
    curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, transfer->errorText);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, transfer.get());
    curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
    curl_easy_setopt(easy, CURLOPT_HEADERDATA, transfer.get());
    curl_easy_setopt(easy, CURLOPT_PRIVATE, transfer.get());
    if (request.method == "GET") {
      curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    } else {
      curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
      curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
      if (request.method != "POST") curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
    }
    curl_slist* list = nullptr;
    for (const auto& [name, value] : request.headers.fields()) {
      // "Name;" is libcurl's way to send a header with an empty value.
      const std::string line = value.empty() ? name + ";" : name + ": " + value;
      list = curl_slist_append(list, line.c_str());
    }
    list = curl_slist_append(list, "Expect:");  // no 100-continue round trip for small bodies
    transfer->headerList.reset(list);
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, list);
    if (curl_multi_add_handle(multi.get(), easy) != CURLM_OK) {
      finish(std::move(transfer), RequestorError(RequestorError::Kind::invalidRequest, "libcurl refused the transfer"));
      return;
    }
    running.push_back(std::move(transfer));
  }

  void completed(CURL* easy, CURLcode code) {
    auto it = std::find_if(running.begin(), running.end(), [&](const auto& t) { return t->easy.get() == easy; });
    if (it == running.end()) return;
    std::unique_ptr<Transfer> transfer = std::move(*it);
    running.erase(it);
    curl_multi_remove_handle(multi.get(), easy);
    long connects = 0;
    curl_easy_getinfo(easy, CURLINFO_NUM_CONNECTS, &connects);
    owner.connectionsOpened_ += static_cast<std::uint64_t>(connects);
    const std::string where = transfer->request.method + " " + transfer->request.url;
    if (code == CURLE_OK) {
      long status = 0;
      curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
      transfer->response.statusCode = static_cast<int>(status);
      HTTPResponse response = std::move(transfer->response);
      finish(std::move(transfer), std::move(response));
    } else if (transfer->tooLarge) {
      RequestorError error(RequestorError::Kind::responseTooLarge,
                           fmt::format("{}: the answer is larger than {} bytes", where, transfer->maximumBytes));
      finish(std::move(transfer), std::move(error));
    } else {
      const std::string detail = transfer->errorText[0] != '\0' ? transfer->errorText : curl_easy_strerror(code);
      RequestorError error(kindOf(code), fmt::format("{}: {}", where, detail));
      finish(std::move(transfer), std::move(error));
    }
  }

  void finish(std::unique_ptr<Transfer> transfer, RequestResult<HTTPResponse> result) {
    auto completion = std::move(transfer->completion);
    transfer.reset();
    owner.completions_->async([completion = std::move(completion), result = std::move(result)] { completion(result); });
  }

  void run() {
    while (true) {
      std::deque<std::unique_ptr<Transfer>> arrived;
      bool stop;
      {
        std::lock_guard lock(mutex);
        arrived.swap(inbox);
        stop = stopping;
      }
      if (stop) {
        for (auto& transfer : arrived) running.push_back(std::move(transfer));
        break;
      }
      for (auto& transfer : arrived) start(std::move(transfer));
      int stillRunning = 0;
      curl_multi_perform(multi.get(), &stillRunning);
      int queued = 0;
      while (CURLMsg* message = curl_multi_info_read(multi.get(), &queued)) {
        if (message->msg == CURLMSG_DONE) completed(message->easy_handle, message->data.result);
      }
      curl_multi_poll(multi.get(), nullptr, 0, 1000, nullptr);
    }
    // Shutting down: what is still in flight ends here, each completion still running once.
    while (!running.empty()) {
      std::unique_ptr<Transfer> transfer = std::move(running.front());
      running.pop_front();
      if (transfer->easy) curl_multi_remove_handle(multi.get(), transfer->easy.get());
      const std::string where = transfer->request.method + " " + transfer->request.url;
      finish(std::move(transfer), RequestorError(RequestorError::Kind::networkConnectionLost,
                                                 where + ": the transport was shut down"));
    }
  }

  CurlRequestTransport& owner;
  const Options options;
  MultiHandle multi;
  std::mutex mutex;
  std::deque<std::unique_ptr<Transfer>> inbox;  // guarded by mutex
  bool stopping = false;                        // guarded by mutex
  std::deque<std::unique_ptr<Transfer>> running;  // the worker's own
  std::thread worker;
};

CurlRequestTransport::CurlRequestTransport(Options options)
    : completions_(std::make_unique<SerialQueue>("com.morvane.CurlRequestTransport.completions")),
      engine_(std::make_unique<Engine>(*this, options)) {}

CurlRequestTransport::~CurlRequestTransport() {
  engine_.reset();       // joins the transfer thread; the last completions are posted
  completions_.reset();  // runs them and joins the completion thread
}

void CurlRequestTransport::send(URLRequest request, Completion completion) {
  auto transfer = std::make_unique<Transfer>();
  transfer->request = std::move(request);
  transfer->completion = std::move(completion);
  engine_->enqueue(std::move(transfer));
}

void CurlRequestTransport::post(std::function<void()> task) { completions_->async(std::move(task)); }

std::shared_ptr<RequestTransport> RequestTransport::standard() {
  // Lives as long as the process: its thread must outlast every reporter, including static ones.
  static auto* const transport = new std::shared_ptr<RequestTransport>(std::make_shared<CurlRequestTransport>());
  return *transport;
}

}  // namespace tav
