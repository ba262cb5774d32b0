#include "cli/DoctorJudge.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

#include "cli/RestClient.h"
#include "cli/WireNames.h"
#include "json/lookup.h"

namespace cli::doctor {
namespace {

using Level = Finding::Level;
using Findings = std::vector<Finding>;

constexpr const char* kServerProgram = "kvt-server";
constexpr std::uint16_t kSlpPort = 427;
constexpr Ahead kMostAhead{5};
constexpr int kFewDays = 30;
constexpr double kLongestStart = 60;  // seconds until the first pass has at least begun
constexpr std::size_t kMostTold = 10;

void fine(Findings& findings, const char* subject, std::string text) {
  findings.push_back({Level::kFine, subject, std::move(text), ""});
}

void note(Findings& findings, const char* subject, std::string text, std::string advice = "") {
  findings.push_back({Level::kNote, subject, std::move(text), std::move(advice)});
}

void problem(Findings& findings, const char* subject, std::string text, std::string advice) {
  findings.push_back({Level::kProblem, subject, std::move(text), std::move(advice)});
}

std::string count(const json::Object& object, json::Path path) {
  const double number = json::numberAt(object, path).value_or(0);
  return std::to_string(static_cast<std::uint64_t>(std::clamp(number, 0.0, 1e15)));
}

void judgeDiscovery(const json::Object& status, Findings& findings) {
  const bool hasBegun = json::flagAt(status, {"discovery", "isRunning"}) ||
                        json::numberAt(status, {"discovery", "passes"}).value_or(0) > 0;
  if (!hasBegun && json::numberAt(status, {"uptimeSeconds"}).value_or(0) > kLongestStart) {
    return problem(findings, "discovery", "The server does not look for others.",
                   "Is the plug-in there (server.plugin_dir), and is the preference installation_type 0?");
  }
  if (json::objectAt(status, {"discovery", "lastPass"}) == nullptr) {
    return note(findings, "discovery", "The first look at the network has not ended yet.", "Ask again in a minute.");
  }
  fine(findings, "discovery",
       "The last look at the network found " + count(status, {"discovery", "lastPass", "found"}) + " services; " +
           count(status, {"servers", "listed"}) + " servers are listed, " + count(status, {"servers", "verified"}) +
           " of them verified.");
}

void judgeServer(const ServerFacts& server, Findings& findings) {
  if (server.unreachable) {
    const bool isDistrusted = server.unreachable->code == ExitCode::kNonsense;
    return problem(findings, "server", server.unreachable->message,
                   isDistrusted ? "Compare the certificate's fingerprint with what the server's administrator tells."
                                : "Does it run (systemctl status kvt-server)? Another one is named with --server URL.");
  }
  fine(findings, "server", server.url + " answers.");
  if (!server.isLoggedIn) {
    return problem(findings, "login", "Nobody is logged in: what only the server knows is left out.", "kvtctl login");
  }
  fine(findings, "login", "You are logged in, or need not be.");
  if (server.untold) problem(findings, "server", server.untold->message, "See the server's log.");
  if (server.status) judgeDiscovery(*server.status, findings);
}

void judgeMembership(const json::Object& status, Findings& findings) {
  for (const json::Object& interface : objectsAt(status, "interfaces").value_or(std::vector<json::Object>())) {
    const json::Array* addresses = json::arrayAt(interface, {"ipV4"});
    if (addresses == nullptr || addresses->Empty()) continue;  // announcements are a matter of IPv4
    const std::string name = json::textAt(interface, {wire::kName});
    if (json::flagAt(interface, {"isJoined"})) {
      fine(findings, "multicast", "The server hears announcements on " + name + ".");
    } else {
      problem(findings, "multicast", "The server does not hear announcements on " + name + ".",
              "Does the interface take multicast (ip link)? The server joins 239.255.255.253 by itself; its log says "
              "why not.");
    }
  }
}

void judgeEcho(const InterfaceFacts& interface, Findings& findings) {
  const std::string where = interface.name + " (" + interface.address + ")";
  switch (interface.echo) {
    case InterfaceFacts::Echo::kHeard:
      return fine(findings, "multicast", "What is sent to the group on " + where + " is heard on this machine.");
    case InterfaceFacts::Echo::kSilent:
      return problem(findings, "multicast", "What is sent to the group on " + where + " is not heard again.",
                     "Look at the firewall: UDP to 239.255.255.253 has to pass in both directions, at port 1847 and "
                     "427.");
    case InterfaceFacts::Echo::kRefused:
      return problem(findings, "multicast", "Nothing can be sent to the group on " + where + ": " + interface.refusal,
                     "Look at the interface (ip link) and at the firewall.");
  }
}

void judgeMulticast(const Facts& facts, Findings& findings) {
  if (facts.server.status) judgeMembership(*facts.server.status, findings);
  if (facts.interfaces.empty()) {
    problem(findings, "multicast", "No interface of this machine has an IPv4 address and takes multicast.",
            "Servers announce themselves by IPv4 multicast: give an interface an address.");
  }
  for (const InterfaceFacts& interface : facts.interfaces)
    judgeEcho(interface, findings);
  if (!facts.hasGroupRoute) {
    note(findings, "multicast", "The routes of this machine lead nowhere with 239.255.255.253.",
         "The server uses each interface by itself; other programs may want: ip route add 239.0.0.0/8 dev INTERFACE");
  }
}

std::string portName(const PortFacts& port) {
  return port.protocol + " port " + std::to_string(port.number);
}

void judgePort(const PortFacts& port, bool isServerHere, Findings& findings) {
  const std::string name = portName(port);
  if (port.isHeld && port.holder == kServerProgram) return fine(findings, "ports", name + " is the server's.");
  if (port.isHeld && port.holder.empty()) {
    return note(findings, "ports", name + " is held; by whom is told to root only.", "sudo kvtctl doctor");
  }
  if (port.isHeld) {
    return problem(findings, "ports", name + " is held by " + port.holder + ", so that the server cannot have it.",
                   "Stop that program, and restart the server.");
  }
  if (!isServerHere) return fine(findings, "ports", name + " is free.");
  if (port.number != kSlpPort) {
    return problem(findings, "ports", "Nobody listens on " + name + ": announcements of others are missed.",
                   "The server's log says why it does not.");
  }
  problem(findings, "ports", "Nobody listens on " + name + ": the searches of others are not answered.",
          "The server needs the right to it: run it as root, or with CAP_NET_BIND_SERVICE as its service does.");
}

void judgeSlp(const Facts& facts, Findings& findings) {
  if (facts.slp.failure) {
    return problem(findings, "search", "A search by SLP fails: " + *facts.slp.failure,
                   "Look at the interfaces and at the firewall (UDP port 427).");
  }
  if (facts.slp.urls.empty()) {
    return problem(findings, "search", "No server answers a search by SLP.",
                   "A firewall has to let pass UDP and TCP port 427, and a switch multicast; is there another server?");
  }
  std::string text = std::to_string(facts.slp.urls.size()) + " answer a search by SLP: ";
  for (std::size_t i = 0; i < std::min(facts.slp.urls.size(), kMostTold); ++i)
    text += (i == 0 ? "" : ", ") + facts.slp.urls[i];
  if (facts.slp.urls.size() > kMostTold) text += ", ...";
  fine(findings, "search", text);
}

void judgeAhead(const std::string& whose, Ahead ahead, Findings& findings) {
  if (ahead <= kMostAhead && ahead >= -kMostAhead) return;
  const bool isAhead = ahead > Ahead(0);
  problem(findings, "clock",
          "The clock of " + whose + " is " + std::to_string(isAhead ? ahead.count() : -ahead.count()) + " s " +
              (isAhead ? "ahead of" : "behind") + " this machine's.",
          "Have both set by NTP (timedatectl).");
}

void judgeClock(const Facts& facts, Findings& findings) {
  const std::size_t before = findings.size();
  if (facts.clock.isSynchronised == false) {
    problem(findings, "clock", "The clock of this machine is not kept by anybody.", "timedatectl set-ntp true");
  }
  if (facts.server.ahead) judgeAhead("the server", *facts.server.ahead, findings);
  for (const auto& [address, ahead] : facts.clock.peers)
    judgeAhead(address, ahead, findings);
  if (findings.size() == before) fine(findings, "clock", "The clocks that can be seen agree.");
}

/// "2026-11-21T16:50:00Z"; nothing for any other text.
std::optional<std::chrono::system_clock::time_point> timeOf(const std::string& text) {
  std::tm parts{};
  const char* end = strptime(text.c_str(), "%Y-%m-%dT%H:%M:%S", &parts);
  if (end == nullptr || (*end != 'Z' && *end != '.')) return std::nullopt;
  return std::chrono::system_clock::from_time_t(timegm(&parts));
}

void judgeCertificate(const Facts& facts, const json::Object& status, Findings& findings) {
  const json::Object* certificate = json::objectAt(status, {"certificate"});
  if (certificate == nullptr) {
    return note(findings, "certificate", "The server is served without TLS: passwords can be read on their way.",
                "tls.enabled = true, unless a proxy on its machine has the certificate.");
  }
  const auto end = timeOf(json::textAt(*certificate, {"notAfter"}));
  if (!end) return;
  constexpr const char* kAdvice =
      "Put a new one in place and reload the server; one that it made itself is made anew when tls.pem in "
      "its state directory is removed.";
  const auto days = std::chrono::duration_cast<std::chrono::hours>(*end - facts.now).count() / 24;
  if (*end <= facts.now) return problem(findings, "certificate", "The server's certificate has expired.", kAdvice);
  const std::string left = "The server's certificate is good for " + std::to_string(days) + " more days";
  if (days < kFewDays) return problem(findings, "certificate", left + ".", kAdvice);
  fine(findings, "certificate",
       left + (json::flagAt(*certificate, {"isSelfSigned"}) ? "; it is signed by itself, so that browsers ask." : "."));
}

struct Explanation {
  const char* reason;
  const char* text;
  const char* advice;
};

/// What the counters of dropped records mean.
constexpr std::array<Explanation, 4> kDropReasons{
    {{"list full", "the list of announced servers is full",
      "Too many servers announce themselves, or somebody makes "
      "them up: kvtctl announce listen"},
     {"address too long", "they had an address that none can be", "kvtctl announce listen shows who sends them"},
     {"no details", "they told nothing of the server", "kvtctl announce listen shows who sends them"},
     {"unreadable details", "what they told of the server was damaged or cut",
      "kvtctl announce listen shows who sends "
      "them; its record may be too large"}}};

void judgeDrops(const json::Object& status, Findings& findings) {
  const json::Object* dropped = json::objectAt(status, {"announcements", "dropped"});
  if (dropped == nullptr) return;
  for (const json::Object::Member& member : *dropped) {
    const std::string number = count(*dropped, {member.name});
    if (number == "0") continue;
    const std::string& name = member.name;
    const auto known = std::find_if(kDropReasons.begin(), kDropReasons.end(),
                                    [&](const Explanation& entry) { return name == entry.reason; });
    const bool isKnown = known != kDropReasons.end();
    note(findings, "announcements", number + " announcements were dropped: " + (isKnown ? known->text : name) + ".",
         isKnown ? known->advice : "kvtctl announce listen shows who sends them");
  }
}

/// An address that was only ever searched for in vain may be a slip of the pen; the server's own counts leave it out,
/// too.
bool maybeMistyped(const json::Object& sighting) {
  if (!json::textAt(sighting, {wire::kVerified}).empty()) return false;
  for (const std::string_view source : {"announcement", "slp", "hand"}) {
    if (json::objectAt(sighting, {wire::kSources, source}) != nullptr) return false;
  }
  return true;
}

void judgePeers(const ServerFacts& server, Findings& findings) {
  for (const json::Object& peer : server.peers) {
    const std::string offered = json::textAt(peer, {wire::kOffered, wire::kFingerprint});
    if (offered.empty()) continue;
    const std::string address = json::textAt(peer, {wire::kAddress});
    problem(findings, "peers", "The certificate of " + address + " has changed, and it is no longer called.",
            "When its administrator says that it is " + offered + ": kvtctl peers trust " + address);
  }
  std::size_t failed = 0;
  for (const json::Object& sighting : server.sightings) {
    if (json::textAt(sighting, {wire::kState}) != "failed" || maybeMistyped(sighting) || ++failed > kMostTold) continue;
    const std::string reason = json::textAt(sighting, {wire::kReason});
    problem(findings, "peers",
            json::textAt(sighting, {wire::kAddress}) + " was heard of, but does not answer as it should" +
                (reason.empty() ? "." : ": " + reason),
            "Is its port open, and does its server run? kvtctl servers search asks it again.");
  }
  if (failed > kMostTold) {
    problem(findings, "peers", std::to_string(failed - kMostTold) + " more do not answer.", "See the web page.");
  }
}

}  // namespace

std::vector<Finding> judge(const Facts& facts) {
  Findings findings;
  judgeServer(facts.server, findings);
  judgeMulticast(facts, findings);
  const bool isServerHere = facts.server.isHere && !facts.server.unreachable;
  for (const PortFacts& port : facts.ports)
    judgePort(port, isServerHere, findings);
  judgeSlp(facts, findings);
  judgeClock(facts, findings);
  if (facts.server.status) {
    judgeCertificate(facts, *facts.server.status, findings);
    judgeDrops(*facts.server.status, findings);
  }
  judgePeers(facts.server, findings);
  return findings;
}

}  // namespace cli::doctor
