#include "httpclient/HttpClient.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <new>

#include <curl/curl.h>

#include "httpclient/Guard.h"

namespace httpclient {
namespace {

constexpr int kPollMilliseconds = 50;
/// What all header lines of an answer may hold together.
constexpr std::size_t kMaxHeaderBytes = 64 * 1024;

struct EasyDeleter {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
};
struct MultiDeleter {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct ListDeleter {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
struct UrlDeleter {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
using Easy = std::unique_ptr<CURL, EasyDeleter>;
using Multi = std::unique_ptr<CURLM, MultiDeleter>;
using HeaderList = std::unique_ptr<curl_slist, ListDeleter>;
using Url = std::unique_ptr<CURLU, UrlDeleter>;

/// What the callbacks of a running exchange share.
struct Exchange {
  explicit Exchange(const Request& asked) : request(&asked), guard(asked) {}

  const Request* request;
  Guard guard;
  Response response;
  std::size_t headerBytes = 0;
  bool tooLarge = false;
  bool isSuccess = false;  ///< the status is 2xx
  bool ended = false;      ///< by the receiver of the body
  char errorBuffer[CURL_ERROR_SIZE] = {};
};

std::size_t handOn(Exchange& exchange, std::string_view piece) {
  try {
    if (exchange.request->onBody(piece)) return piece.size();
  } catch (...) {  // libcurl is C: nothing may pass through it
  }
  exchange.ended = true;
  return CURL_WRITEFUNC_ERROR;
}

std::size_t takeBody(char* data, std::size_t size, std::size_t count, void* context) {
  auto& exchange = *static_cast<Exchange*>(context);
  const std::size_t bytes = size * count;
  if (exchange.request->onBody && exchange.isSuccess) return handOn(exchange, {data, bytes});
  if (bytes > exchange.request->maxBodyBytes - exchange.response.body.size()) {
    exchange.tooLarge = true;
    return CURL_WRITEFUNC_ERROR;
  }
  exchange.response.body.append(data, bytes);
  return bytes;
}

/// A header line, or the status line before all others, which begins anew what an interim answer (1xx) had begun.
void keepHeader(Exchange& exchange, std::string_view line) {
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r'))
    line.remove_suffix(1);
  if (line.rfind("HTTP/", 0) == 0) {
    exchange.response.headers.clear();
    const std::size_t blank = line.find(' ');
    exchange.isSuccess = blank != std::string_view::npos && line.substr(blank + 1, 1) == "2";
  } else if (!line.empty()) {
    exchange.response.headers.emplace_back(line);
  }
}

std::size_t takeHeader(char* data, std::size_t size, std::size_t count, void* context) {
  auto& exchange = *static_cast<Exchange*>(context);
  exchange.headerBytes += size * count;
  if (exchange.headerBytes <= kMaxHeaderBytes) {
    keepHeader(exchange, {data, size * count});
    return size * count;
  }
  exchange.tooLarge = true;
  return CURL_WRITEFUNC_ERROR;
}

bool isHttpUrl(const std::string& text) {
  const Url url(curl_url());
  if (!url || curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) != CURLUE_OK) return false;
  char* scheme = nullptr;
  if (curl_url_get(url.get(), CURLUPART_SCHEME, &scheme, 0) != CURLUE_OK) return false;
  const std::string name(scheme);
  curl_free(scheme);
  return name == "http" || name == "https";
}

bool hasControlCharacters(const std::string& text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x20 && c != '\t'; });
}

bool isSendable(const Request& request) {
  return isHttpUrl(request.url) && !hasControlCharacters(request.method) && !hasControlCharacters(request.cookie) &&
         std::none_of(request.headers.begin(), request.headers.end(), hasControlCharacters);
}

HeaderList makeHeaders(const Request& request) {
  HeaderList list;
  const auto append = [&list](const char* line) {
    if (curl_slist* longer = curl_slist_append(list.get(), line)) {
      (void)list.release();
      list.reset(longer);
    }
  };
  for (const std::string& line : request.headers) {
    append(line.c_str());
  }
  append("Expect:");  // our bodies are small: no question before sending one
  return list;
}

void setLimits(CURL* easy, Exchange& exchange) {
  const Request& request = *exchange.request;
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_QUICK_EXIT, 1L);  // a resolver that hangs must not hold us up
  curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
  curl_easy_setopt(easy, CURLOPT_PROXY, "");
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, std::max<long>(1, request.connectTimeout.count()));
  curl_easy_setopt(easy, CURLOPT_TIMEOUT_MS, std::max<long>(1, request.totalTimeout.count()));
  if (!request.onBody) {
    curl_easy_setopt(easy, CURLOPT_MAXFILESIZE_LARGE, static_cast<curl_off_t>(request.maxBodyBytes));
  }
  curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, exchange.errorBuffer);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, takeBody);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &exchange);
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, takeHeader);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &exchange);
}

void setRequest(CURL* easy, const Request& request, curl_slist* headers) {
  curl_easy_setopt(easy, CURLOPT_URL, request.url.c_str());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers);
  if (!request.cookie.empty()) curl_easy_setopt(easy, CURLOPT_COOKIE, request.cookie.c_str());
  if (request.method == "HEAD") curl_easy_setopt(easy, CURLOPT_NOBODY, 1L);
  if (!request.body.empty() || request.method == "POST" || request.method == "PUT") {
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.c_str());
  }
  curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.method.c_str());
}

ErrorKind kindOf(CURLcode code) {
  switch (code) {
    case CURLE_OK:
      return ErrorKind::kNone;
    case CURLE_URL_MALFORMAT:
      return ErrorKind::kBadUrl;
    case CURLE_COULDNT_RESOLVE_HOST:
      return ErrorKind::kResolve;
    case CURLE_OPERATION_TIMEDOUT:
      return ErrorKind::kTimedOut;
    case CURLE_FILESIZE_EXCEEDED:
      return ErrorKind::kTooLarge;
    case CURLE_UNSUPPORTED_PROTOCOL:  // how an answer without a status line is reported
    case CURLE_WEIRD_SERVER_REPLY:
    case CURLE_BAD_CONTENT_ENCODING:
      return ErrorKind::kMalformed;
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_CACERT_BADFILE:
    case CURLE_SSL_ISSUER_ERROR:
      return ErrorKind::kCertificate;
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
      return ErrorKind::kTls;
    default:
      return ErrorKind::kUnreachable;
  }
}

void fail(Response& response, ErrorKind kind, const char* text) {
  response.error = kind;
  response.errorText = text;
  response.body.clear();
}

void finish(CURL* easy, CURLcode code, Exchange& exchange) {
  Response& response = exchange.response;
  if (exchange.ended) return fail(response, ErrorKind::kCancelled, "called off");
  response.error = exchange.tooLarge ? ErrorKind::kTooLarge : kindOf(code);
  if (response.error != ErrorKind::kNone && exchange.guard.refusal() != ErrorKind::kNone) {
    response.error = exchange.guard.refusal();
    response.errorText = exchange.guard.refusalText();
  } else if (response.error == ErrorKind::kTooLarge) {
    response.errorText = "the answer is too large";
  } else if (response.error != ErrorKind::kNone) {
    response.errorText = exchange.errorBuffer[0] != '\0' ? exchange.errorBuffer : curl_easy_strerror(code);
  }
  if (response.error != ErrorKind::kNone) {
    response.body.clear();
    return;
  }
  long status = 0;
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  response.status = static_cast<int>(status);
}

void noteConnection(CURL* easy, Response& response) {
  curl_off_t connectTime = 0;
  curl_easy_getinfo(easy, CURLINFO_CONNECT_TIME_T, &connectTime);
  response.connected = connectTime > 0;
  char* address = nullptr;
  if (response.connected && curl_easy_getinfo(easy, CURLINFO_PRIMARY_IP, &address) == CURLE_OK && address != nullptr) {
    response.primaryIp = address;
  }
}

/// Drives the transfer until it ends or is called off.
void drive(CURLM* multi, CURL* easy, Exchange& exchange) {
  const Request& request = *exchange.request;
  int running = 1;
  while (running > 0) {
    if (request.cancelled && request.cancelled()) return fail(exchange.response, ErrorKind::kCancelled, "called off");
    CURLMcode code = curl_multi_perform(multi, &running);
    if (code == CURLM_OK && running > 0) code = curl_multi_poll(multi, nullptr, 0, kPollMilliseconds, nullptr);
    if (code != CURLM_OK) return fail(exchange.response, ErrorKind::kUnreachable, curl_multi_strerror(code));
  }
  int queued = 0;
  const CURLMsg* message = curl_multi_info_read(multi, &queued);
  finish(easy, message != nullptr ? message->data.result : CURLE_RECV_ERROR, exchange);
}

void initialiseOnce() {
  static std::once_flag once;
  std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

/// Takes the transfer out of its multi handle before either is destroyed.
struct Attached {
  Attached(CURLM* m, CURL* e) : multi(m), easy(e) { curl_multi_add_handle(multi, easy); }
  ~Attached() { curl_multi_remove_handle(multi, easy); }
  Attached(const Attached&) = delete;
  Attached& operator=(const Attached&) = delete;
  CURLM* multi;
  CURL* easy;
};

}  // namespace

Response perform(const Request& request) {
  initialiseOnce();
  Exchange exchange(request);
  if (!isSendable(request)) {
    fail(exchange.response, ErrorKind::kBadUrl, "not a URL of http or https");
    return exchange.response;
  }
  const HeaderList headers = makeHeaders(request);
  const Multi multi(curl_multi_init());
  const Easy easy(curl_easy_init());
  if (!multi || !easy) throw std::bad_alloc();
  setLimits(easy.get(), exchange);
  setRequest(easy.get(), request, headers.get());
  if (!exchange.guard.watch(easy.get())) {
    fail(exchange.response, ErrorKind::kCertificate, "certificates cannot be checked here");
    return exchange.response;
  }
  const Attached attached(multi.get(), easy.get());
  drive(multi.get(), easy.get(), exchange);
  noteConnection(easy.get(), exchange.response);
  return exchange.response;
}

std::string makeUrl(std::string_view scheme, std::string_view host, std::uint16_t port, std::string_view path) {
  std::string url(scheme);
  url += "://";
  if (host.find(':') == std::string_view::npos) {
    url += host;
  } else {
    const auto zone = host.find('%');
    url += '[';
    url += host.substr(0, zone);
    if (zone != std::string_view::npos) {
      url += "%25";
      url += host.substr(zone + 1);
    }
    url += ']';
  }
  url += ':';
  url += std::to_string(port);
  url += path;
  return url;
}

}  // namespace httpclient
