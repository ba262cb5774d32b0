#include "host/config/SecurityKeys.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "host/config/SettingValues.h"
#include "host/peers/PeerPolicy.h"

namespace host {
namespace {

using Milliseconds = std::chrono::milliseconds;

constexpr std::int64_t kSecond = 1'000;
constexpr std::int64_t kDay = 86'400 * kSecond;

/// A key of one of the groups of settings.
template <typename Group, typename Member>
struct Place {
  Group Settings::*group;
  Member Group::*member;

  Member& of(Settings& settings) const { return settings.*group.*member; }
  const Member& of(const Settings& settings) const { return settings.*group.*member; }
};

template <typename Group>
SettingKey flagKey(const char* section, const char* name, const char* meaning, Place<Group, bool> place) {
  return {section, name, meaning,
          [place](Settings& settings, const ConfigValue& value) { return takeFlag(value, place.of(settings)); },
          [place](const Settings& settings) { return flagText(place.of(settings)); }};
}

template <typename Group>
SettingKey textKey(const char* section, const char* name, const char* meaning, Place<Group, std::string> place) {
  return {section, name, meaning,
          [place](Settings& settings, const ConfigValue& value) { return takeText(value, place.of(settings)); },
          [place](const Settings& settings) { return quoted(place.of(settings)); }};
}

template <typename Group>
SettingKey intervalKey(const char* section, const char* name, const char* meaning, Place<Group, Milliseconds> place,
                       std::int64_t minimum, std::int64_t maximum) {
  return {section, name, meaning,
          [=](Settings& settings, const ConfigValue& value) {
            std::int64_t number = 0;
            auto problem = takeInterval(value, minimum, maximum, number);
            if (!problem) place.of(settings) = Milliseconds(number);
            return problem;
          },
          [place](const Settings& settings) { return std::to_string(place.of(settings).count()); }};
}

void addTlsKeys(std::vector<SettingKey>& keys) {
  using Version = TlsSettings::Version;
  keys.push_back(flagKey<TlsSettings>("tls", "enabled",
                                      "Whether clients are served over TLS. Without it passwords can be read on their "
                                      "way: for a proxy on this machine only. Default true.",
                                      {&Settings::tls, &TlsSettings::isEnabled}));
  keys.push_back(
      textKey<TlsSettings>("tls", "certificate",
                           "File with the server's certificate and its chain, as PEM. SIGHUP reads it anew. "
                           "Default \"\": the server makes one that it signs itself, in its state directory.",
                           {&Settings::tls, &TlsSettings::certificateFile}));
  keys.push_back(textKey<TlsSettings>("tls", "key", "File with the key of that certificate, as PEM. Default \"\".",
                                      {&Settings::tls, &TlsSettings::keyFile}));
  keys.push_back(
      {"tls", "minimum_version", "The oldest version that clients may use, \"1.2\" or \"1.3\". Default \"1.2\".",
       [](Settings& settings, const ConfigValue& value) -> Problem {
         std::string text;
         if (auto problem = takeText(value, text)) return problem;
         if (text != "1.2" && text != "1.3") return "takes \"1.2\" or \"1.3\"";
         settings.tls.leastVersion = text == "1.2" ? Version::kTls12 : Version::kTls13;
         return std::nullopt;
       },
       [](const Settings& settings) { return quoted(settings.tls.leastVersion == Version::kTls12 ? "1.2" : "1.3"); }});
}

void addAccessKeys(std::vector<SettingKey>& keys) {
  keys.push_back({"access", "anonymous",
                  "What may be done without a login: \"none\", \"viewer\" (read) or \"operator\" (change). SIGHUP "
                  "reads it anew, as the rest of this section. Default \"none\".",
                  [](Settings& settings, const ConfigValue& value) -> Problem {
                    std::string text;
                    if (auto problem = takeText(value, text)) return problem;
                    const auto role = roleNamed(text);
                    if (!role) return quoted(text) + " is no role: there are \"none\", \"viewer\" and \"operator\"";
                    settings.access.anonymous = *role;
                    return std::nullopt;
                  },
                  [](const Settings& settings) { return quoted(roleName(settings.access.anonymous)); }});
  keys.push_back(intervalKey<AccessSettings>("access", "session_idle",
                                             "After how long without a request a login ends. Milliseconds, or a text "
                                             "such as \"30m\". Default 1800000, range 1000 to 86400000.",
                                             {&Settings::access, &AccessSettings::sessionIdle}, kSecond, kDay));
  keys.push_back(intervalKey<AccessSettings>("access", "session_lifetime",
                                             "After how long a login ends in any case. Milliseconds, or a text such as "
                                             "\"30m\". Default 43200000, range 1000 to 2592000000.",
                                             {&Settings::access, &AccessSettings::sessionLifetime}, kSecond,
                                             30 * kDay));
  keys.push_back({"access", "login_attempts",
                  "Failed logins in a row after which an account, and the address that they come from, is locked out. "
                  "Default 5, range 1 to 100.",
                  [](Settings& settings, const ConfigValue& value) {
                    std::int64_t number = 0;
                    auto problem = takeNumber(value, 1, 100, number);
                    if (!problem) settings.access.loginAttempts = static_cast<unsigned int>(number);
                    return problem;
                  },
                  [](const Settings& settings) { return std::to_string(settings.access.loginAttempts); }});
  keys.push_back(
      intervalKey<AccessSettings>("access", "lockout",
                                  "How long a lock-out lasts. Milliseconds, or a text such as \"15m\". Default "
                                  "900000, range 1000 to 86400000.",
                                  {&Settings::access, &AccessSettings::lockOut}, kSecond, kDay));
}

Problem takeNetworks(Settings& settings, const ConfigValue& value) {
  std::vector<std::string> networks;
  if (auto problem = takeList(value, networks)) return problem;
  for (const std::string& text : networks) {
    if (const auto network = readNetwork(text); !network) return network.error();
  }
  settings.peers.allowedNetworks = std::move(networks);
  return std::nullopt;
}

void addPeerKeys(std::vector<SettingKey>& keys) {
  keys.push_back(
      {"peers", "allowed_networks",
       "Networks whose servers are called, such as [\"192.0.2.0/24\", \"2001:db8::/32\"]. SIGHUP reads it "
       "anew. Loopback addresses are called only where a network of theirs is named. Default []: private and "
       "link-local ranges, and the networks of this machine.",
       takeNetworks, [](const Settings& settings) { return quotedList(settings.peers.allowedNetworks); }});
  keys.push_back(textKey<PeerSettings>("peers", "ca_file",
                                       "File with the authorities, as PEM, that must have signed the certificates of "
                                       "other servers. SIGHUP reads it anew. Default \"\": the certificate of each is "
                                       "kept at the first contact, and must not change.",
                                       {&Settings::peers, &PeerSettings::caFile}));
  keys.push_back(
      flagKey<PeerSettings>("peers", "allow_http",
                            "Whether servers are called without TLS that say that they have none. Whoever is "
                            "between can then answer in their place. SIGHUP reads it anew. Default false.",
                            {&Settings::peers, &PeerSettings::mayUseHttp}));
}

}  // namespace

void addSecurityKeys(std::vector<SettingKey>& keys) {
  addTlsKeys(keys);
  addAccessKeys(keys);
  addPeerKeys(keys);
}

}  // namespace host
