#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "slp/agent/Responder.h"
#include "slp/wire/Codec.h"
#include "slp/wire/Limits.h"

// A life of the agent: messages from many places, one after another. Each has three bytes before it, which say where it
// comes from, and its length. Whatever arrives, an answer is a whole message within its size, goes to a request only,
// and never to somebody who asked everybody when it has nothing to tell.
namespace {

using namespace slp;

void require(bool condition, const char* what) {
  if (condition) return;
  std::cerr << "slp_agent_fuzz: " << what << '\n';
  std::abort();
}

net::Address address(std::string_view text) {
  return net::Address::parse(text).value();
}

constexpr std::size_t kMaxDatagram = 300;
constexpr std::size_t kSources = 10;

/// Loopback, a connection from there, neighbours, strangers; each may have sent to a group.
agent::Source sourceOf(std::uint8_t choice) {
  agent::Source source;
  source.ownAddress = address("10.77.0.1");
  source.interface = 2;
  source.onLink = true;
  switch (choice % kSources) {
    case 0:
      source.from.address = address("127.0.0.1"), source.interface = 1;
      break;
    case 1:
      source.from.address = address("127.0.0.1"), source.tcp = true, source.connection = 2;
      break;
    case 2:
      source.from.address = address("::1"), source.tcp = true, source.connection = 3;
      break;
    case 3:
      source.from.address = address("10.77.0.3");
      break;
    case 4:
      source.from.address = address("10.77.0.3"), source.tcp = true, source.connection = 4;
      break;
    case 5:
      source.from.address = address("fe80::9%2"), source.ownAddress = address("fe80::1%2");
      break;
    case 6:
      source.from.address = address("2001:db8::1");
      break;
    case 7:
      source.from.address = address("192.0.2.1"), source.onLink = false;
      break;
    case 8:
      source.from.address = address("2001:db8:9::1"), source.onLink = false;
      break;
    default:
      source.from.address = address("192.0.2.1"), source.onLink = false, source.tcp = true;
      break;
  }
  source.sentToGroup = !source.tcp && (choice & 0x80) != 0;
  return source;
}

class Life {
 public:
  Life() : mResponder(mRegistry, settings()) {
    mResponder.setOwnAddresses(
        {{1, "lo", true, false, {{address("127.0.0.1"), 8}, {address("::1"), 128}}},
         {2,
          "eth0",
          false,
          true,
          {{address("10.77.0.1"), 24}, {address("2001:db8::1"), 64}, {address("fe80::1%2"), 64}}}});
    mResponder.onDirectoryAgentAdvert([](const wire::DirectoryAgentAdvert& advert, const net::Endpoint&) {
      require(advert.error == wire::ErrorCode::kOk, "a failed advert was handed on");
    });
    add("service:wbem:https://10.77.0.1:5989", "service:wbem:https", "(a=1,2),(b=x y),(c=true),(d=\\FF\\01)", "en");
    add("service:wbem:https://10.77.0.1:5989", "service:wbem:https", "(a=1),(b=eins)", "de");
    add("service:wbem:http://[fe80::1]:5988", "service:wbem:http", "(v={\"x\":[1]})),(w=2)", "en-GB");
    add("service:x-mgmt.quorvel:kvt://[2001:db8::1]:8443", "service:x-mgmt.quorvel:kvt", std::string(400, 'k'), "en");
  }

  void message(std::string_view bytes, const agent::Source& source) {
    mNow += std::chrono::seconds(1);
    const auto own = mRegistry.ofOwner(agent::kThisProcess);
    const bool answered = mResponder.respond(wire::bytesOf(bytes), source, mNow, mReply);
    require(mRegistry.ofOwner(agent::kThisProcess) == own, "a message changed our own registrations");
    require(mRegistry.size() <= own.size() + limits::kMaxForeignRegistrations, "too many registrations");
    if (answered) checkReply(bytes, source);
  }

  /// What was registered is found, and goes with its owner.
  void end() {
    mRegistry.expire(mNow);
    for (const agent::Owner owner : {agent::kNoConnection, agent::Owner{2}, agent::Owner{3}, agent::Owner{4}}) {
      for (const auto& registration : mRegistry.ofOwner(owner))
        requireFound(registration);
      mRegistry.removeAll(owner);
      require(mRegistry.ofOwner(owner).empty(), "an owner has gone, its registrations have not");
    }
    require(mRegistry.size() == 4, "something is left behind");
    require(mRegistry.types(std::nullopt, "DEFAULT").size() == 3, "a type is left behind");
  }

 private:
  static agent::ResponderSettings settings() {
    agent::ResponderSettings settings;
    settings.saAttributes = "(site=7)";
    settings.maxDatagramMessage = kMaxDatagram;
    return settings;
  }

  void add(std::string url, std::string type, std::string attributes, std::string language) {
    mRegistry.add({std::move(url), std::move(type), "DEFAULT", std::move(attributes), std::move(language),
                   agent::kLifetimeForever},
                  agent::kThisProcess, mNow);
  }

  void requireFound(const agent::Registration& registration) {
    bool found = false;
    mRegistry.findServices({registration.serviceType, registration.scopes, "", "en"}, mNow, [&](const auto& entry) {
      found = found || entry.url == registration.url;
      return true;
    });
    require(found, "a registration is not found");
  }

  void checkReply(std::string_view bytes, const agent::Source& source) {
    const auto limit = source.tcp      ? limits::kMaxMessage
                       : source.onLink ? kMaxDatagram
                                       : std::min(kMaxDatagram, limits::kMaxAmplification * bytes.size());
    require(!mReply.empty() && mReply.size() <= limit, "an answer of a wrong size");
    const auto decoded = wire::decode(wire::bytesOf(mReply));
    require(std::holds_alternative<wire::Message>(decoded), "an answer that cannot be read");
    const auto& reply = std::get<wire::Message>(decoded);
    std::string again;
    require(wire::encode(reply, again) && again == mReply, "an answer that is not as the codec writes it");
    checkRequest(bytes, reply);
    const bool multicast = !source.tcp && (source.sentToGroup || (static_cast<unsigned char>(bytes[5]) & 0x20) != 0);
    if (multicast) require(hasContent(reply), "an empty answer to a multicast request");
  }

  static void checkRequest(std::string_view bytes, const wire::Message& reply) {
    const auto function = static_cast<wire::Function>(bytes[1]);
    constexpr std::array kRequests{wire::Function::kServiceRequest, wire::Function::kServiceRegistration,
                                   wire::Function::kServiceDeregistration, wire::Function::kAttributeRequest,
                                   wire::Function::kServiceTypeRequest};
    require(std::find(kRequests.begin(), kRequests.end(), function) != kRequests.end(), "an answer to no request");
    require(reply.header.xid == (static_cast<unsigned char>(bytes[10]) << 8 | static_cast<unsigned char>(bytes[11])),
            "an answer to another request");
    require(bytes.substr(14, reply.header.language.size()) == reply.header.language, "an answer in another language");
  }

  static bool hasContent(const wire::Message& reply) {
    if (reply.header.overflow || std::holds_alternative<wire::ServiceAgentAdvert>(reply.body)) return true;
    if (const auto* services = std::get_if<wire::ServiceReply>(&reply.body)) {
      return services->error == wire::ErrorCode::kOk && !services->urls.empty();
    }
    if (const auto* attributes = std::get_if<wire::AttributeReply>(&reply.body)) {
      return attributes->error == wire::ErrorCode::kOk && !attributes->attributes.empty();
    }
    const auto* types = std::get_if<wire::ServiceTypeReply>(&reply.body);
    return types && types->error == wire::ErrorCode::kOk && !types->types.empty();
  }

  agent::Registry mRegistry;
  agent::Responder mResponder;
  agent::TimePoint mNow{std::chrono::hours(1)};
  std::string mReply;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Life life;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (rest.size() > 3) {
    const auto choice = static_cast<std::uint8_t>(rest[0]);
    const auto length = static_cast<std::size_t>(data[size - rest.size() + 1] << 8 | data[size - rest.size() + 2]);
    const std::string message(rest.substr(3, length));  // a copy, so that a read behind its end is noticed
    life.message(message, sourceOf(choice));
    rest.remove_prefix(3 + message.size());
  }
  life.end();
  return 0;
}
