// The processes whose figures slp.py makes a table of: one that registers, one that asks its agent with so many
// requests in flight, and one that searches as programs do. Each prints one line of JSON.

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <netinet/in.h>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/uio.h>
#include <vector>

#include "slp/include/slp.h"
#include "slp/net/Descriptor.h"
#include "slp/wire/Codec.h"

namespace {

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point begun) {
  return std::chrono::duration<double>(Clock::now() - begun).count();
}

void check(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

/// What the kernel says of this process, in megabytes. Streams of C, here and below: those of C++ would count, too.
double memory(std::string_view name) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> status(std::fopen("/proc/self/status", "r"), &std::fclose);
  check(status != nullptr, "/proc/self/status");
  std::array<char, 256> line{};
  while (std::fgets(line.data(), line.size(), status.get()) != nullptr) {
    const std::string_view text = line.data();
    if (text.starts_with(name)) return std::atof(line.data() + name.size()) / 1024;
  }
  return 0;
}

// Services: of a type each, or all of one type and told apart by an attribute.

struct Service {
  std::string type;
  std::string url;
  std::string attributes;
};

Service serviceOf(int number, bool oneType) {
  const std::string text = std::to_string(number);
  const std::string type = oneType ? "service:load" : "service:load" + text;
  return {type, type + "://10.0.0.1:" + std::to_string(1 + number % 65'000) + "/" + text,
          "(number=" + text + "),(name=service " + text + "),(description=one of many services that are registered)"};
}

void registerOne(SLPHandle handle, const Service& service) {
  const auto ignore = [](SLPHandle, SLPError, void*) {};
  check(SLPReg(handle, service.url.c_str(), SLP_LIFETIME_MAXIMUM, nullptr, service.attributes.c_str(), SLP_TRUE, ignore,
               nullptr) == SLP_OK,
        "a registration failed");
}

/// Registers, says how long the first one took and how quickly the last tenth went, and stays until its input ends.
void serve(int count, bool oneType) {
  SLPHandle handle = nullptr;
  check(SLPOpen("en", SLP_FALSE, &handle) == SLP_OK, "SLPOpen");
  const int measured = std::max(count / 10, 1);
  double first = 0;
  Clock::time_point begun = Clock::now();
  for (int number = 0; number < count; ++number) {
    const Service service = serviceOf(number, oneType);
    if (number == count - measured) begun = Clock::now();
    registerOne(handle, service);
    if (number == 0) first = secondsSince(begun) * 1'000;
  }
  const double rate = count > 0 ? measured / secondsSince(begun) : 0;
  std::printf("{\"firstMilliseconds\":%.3f,\"registrationsPerSecond\":%.0f}\n", first, rate);
  std::fflush(stdout);
  while (std::getchar() != EOF) {
    std::printf("{\"resident\":%.2f,\"own\":%.2f}\n", memory("VmRSS:"), memory("RssAnon:"));
    std::fflush(stdout);
  }
  SLPClose(handle);
}

// Load

constexpr int kMaxWindow = 64;

enum class Kind { kServices, kAttributes, kFilter };

std::string requestOf(Kind kind, int number) {
  const bool oneType = kind == Kind::kFilter;
  const Service service = serviceOf(number, oneType);
  const std::string filter = "(number=" + std::to_string(number) + ")";
  slp::wire::Header header;
  header.xid = static_cast<std::uint16_t>(number);
  std::string message;
  bool encoded = false;
  if (kind == Kind::kAttributes) {
    slp::wire::AttributeRequest request;
    request.url = service.url;
    request.scopes = "DEFAULT";
    encoded = slp::wire::encode(header, request, message);
  } else {
    slp::wire::ServiceRequest request;
    request.serviceType = service.type;
    request.scopes = "DEFAULT";
    if (oneType) request.predicate = filter;
    encoded = slp::wire::encode(header, request, message);
  }
  check(encoded, "a request is too long");
  return message;
}

/// Whether these are the services or attributes that were asked for.
bool isAnswer(std::span<const std::byte> bytes) {
  const auto decoded = slp::wire::decode(bytes);
  const auto* message = std::get_if<slp::wire::Message>(&decoded);
  if (message == nullptr) return false;
  if (const auto* services = std::get_if<slp::wire::ServiceReply>(&message->body)) return services->urls.size() == 1;
  const auto* attributes = std::get_if<slp::wire::AttributeReply>(&message->body);
  return attributes != nullptr && !attributes->attributes.empty();
}

/// Keeps a number of requests in flight over one connected socket.
class Load {
 public:
  Load(Kind kind, int services, int window)
      : mWindow(window), mSocket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    for (int number = 0; number < services; ++number)
      mRequests.push_back(requestOf(kind, number));
    sockaddr_in agent{};
    agent.sin_family = AF_INET;
    agent.sin_port = htons(427);
    agent.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    check(::connect(mSocket.get(), reinterpret_cast<const sockaddr*>(&agent), sizeof agent) == 0, "connect");
    const timeval patience{1, 0};
    ::setsockopt(mSocket.get(), SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
  }

  void run(double seconds) {
    const Clock::time_point begun = Clock::now();
    send(mWindow);
    while (secondsSince(begun) < seconds) {
      const int received = receive();
      if (received == 0) ++mStalls;
      send(received > 0 ? received : mWindow);
    }
    mSeconds = secondsSince(begun);
  }

  void print() const {
    std::printf("{\"perSecond\":%.0f,\"answered\":%ld,\"wrong\":%ld,\"stalls\":%ld}\n",
                static_cast<double>(mAnswered) / mSeconds, mAnswered, mWrong, mStalls);
  }

 private:
  void send(int count) {
    std::array<mmsghdr, kMaxWindow> headers{};
    std::array<iovec, kMaxWindow> parts{};
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
      std::string& request = mRequests[mNext++ % mRequests.size()];
      parts[i] = {request.data(), request.size()};
      headers[i].msg_hdr.msg_iov = &parts[i];
      headers[i].msg_hdr.msg_iovlen = 1;
    }
    check(::sendmmsg(mSocket.get(), headers.data(), static_cast<unsigned>(count), 0) == count, "sendmmsg");
  }

  /// Waits for at least one answer; checks what it says now and then, so that the checking is not what is measured.
  int receive() {
    std::array<mmsghdr, kMaxWindow> headers{};
    std::array<iovec, kMaxWindow> parts{};
    for (std::size_t i = 0; i < kMaxWindow; ++i) {
      parts[i] = {mBuffers[i].data(), mBuffers[i].size()};
      headers[i].msg_hdr.msg_iov = &parts[i];
      headers[i].msg_hdr.msg_iovlen = 1;
    }
    const int count =
        ::recvmmsg(mSocket.get(), headers.data(), static_cast<unsigned>(mWindow), MSG_WAITFORONE, nullptr);
    if (count <= 0) return 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
      const bool looked = mAnswered++ % 64 == 0;
      if (looked && !isAnswer(std::span(mBuffers[i]).first(headers[i].msg_len))) ++mWrong;
    }
    return count;
  }

  int mWindow;
  slp::net::Descriptor mSocket;
  std::vector<std::string> mRequests;
  std::size_t mNext = 0;
  std::array<std::array<std::byte, 2'048>, kMaxWindow> mBuffers{};
  long mAnswered = 0;
  long mWrong = 0;
  long mStalls = 0;
  double mSeconds = 0;
};

Kind kindOf(std::string_view name) {
  if (name == "services") return Kind::kServices;
  if (name == "attributes") return Kind::kAttributes;
  check(name == "filter", "what to ask for: services, attributes or filter");
  return Kind::kFilter;
}

void ask(std::string_view kind, int services, int window, double seconds) {
  check(services > 0 && window > 0 && window <= kMaxWindow, "a window of 1 to 64 over at least one service");
  Load load(kindOf(kind), services, window);
  load.run(seconds);
  load.print();
}

// Searches

struct Found {
  Clock::time_point begun;
  int count = 0;
  std::string last;
  double firstSeconds = 0;
};

void search(const char* type, int times) {
  SLPHandle handle = nullptr;
  check(SLPOpen("en", SLP_FALSE, &handle) == SLP_OK, "SLPOpen");
  const auto onUrl = [](SLPHandle, const char* url, unsigned short, SLPError error, void* cookie) {
    auto& found = *static_cast<Found*>(cookie);
    if (error != SLP_OK) return SLP_TRUE;
    if (found.count++ == 0) found.firstSeconds = secondsSince(found.begun);
    found.last = url;
    return SLP_TRUE;
  };
  const auto onAttributes = [](SLPHandle, const char*, SLPError error, void* cookie) {
    if (error == SLP_OK) ++static_cast<Found*>(cookie)->count;
    return SLP_TRUE;
  };
  std::string searches;
  Found found;
  for (int i = 0; i < times; ++i) {
    found = Found();
    found.begun = Clock::now();
    check(SLPFindSrvs(handle, type, nullptr, nullptr, onUrl, &found) == SLP_OK, "SLPFindSrvs");
    searches += (i == 0 ? "" : ",") + std::to_string(secondsSince(found.begun) * 1'000);
  }
  std::string attributes;
  for (int i = 0; i < times && !found.last.empty(); ++i) {
    Found answer;
    answer.begun = Clock::now();
    check(SLPFindAttrs(handle, found.last.c_str(), nullptr, nullptr, onAttributes, &answer) == SLP_OK, "SLPFindAttrs");
    check(answer.count == 1, "no attributes");
    attributes += (i == 0 ? "" : ",") + std::to_string(secondsSince(answer.begun) * 1'000);
  }
  std::printf("{\"found\":%d,\"firstMilliseconds\":%.3f,\"searches\":[%s],\"attributes\":[%s]}\n", found.count,
              found.firstSeconds * 1'000, searches.c_str(), attributes.c_str());
  SLPClose(handle);
}

int run(const std::vector<std::string>& words) {
  if (words.size() == 3 && words[0] == "serve") {
    serve(std::stoi(words[1]), words[2] == "one-type");
  } else if (words.size() == 5 && words[0] == "ask") {
    ask(words[1], std::stoi(words[2]), std::stoi(words[3]), std::stod(words[4]));
  } else if (words.size() == 3 && words[0] == "search") {
    search(words[1].c_str(), std::stoi(words[2]));
  } else {
    std::fputs(
        "slp_load serve COUNT types|one-type; ask services|attributes|filter COUNT WINDOW SECONDS; "
        "search TYPE TIMES\n",
        stderr);
    return 64;
  }
  return 0;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    return run({arguments + 1, arguments + count});
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "slp_load: %s\n", problem.what());
    return 1;
  }
}
