#include "cli/Options.h"

#include <algorithm>
#include <cmath>
#include <ostream>
#include <string>
#include <utility>

#include <CLI/CLI.hpp>

#include "cli/AccessOptions.h"
#include "cli/Text.h"
#include "httpclient/Certificate.h"

namespace cli {
namespace {

constexpr const char* kFooter =
    "Examples:\n"
    "  kvtctl login --server https://192.0.2.1:8443    once for each server\n"
    "  kvtctl servers search 192.0.2.7    look for a server at an address, or at a host name\n"
    "  kvtctl servers add 192.0.2.7       take what was found into the inventory\n"
    "  kvtctl servers list -o json        for scripts\n"
    "  kvtctl watch                       follow the inventory\n"
    "  kvtctl doctor                      what keeps servers from finding one another\n"
    "  kvtctl slp find service:printer    ask the network for services\n"
    "  kvtctl announce listen --for 60    watch servers come and go for a minute\n"
    "\n"
    "Environment:\n"
    "  KVT_SERVER  stands in for --server\n"
    "  KVT_TOKEN   an API token, in place of a login\n"
    "\n"
    "Exit codes:\n"
    "  0  done\n"
    "  1  the server refused, or what was asked for is not there; or doctor has findings\n"
    "  2  the command line is wrong\n"
    "  3  the server could not be reached, or cannot answer now\n"
    "  4  what answered makes no sense, or its certificate is not trusted\n"
    "  5  nobody is logged in, or who is may not do that\n";

std::string checkUrl(const std::string& url) {
  const bool known = !url.empty() && (url.find("://") == std::string::npos || url.starts_with("http://") ||
                                      url.starts_with("https://"));
  return known ? std::string() : "takes a host, or a URL that begins with http:// or https://, not " + url;
}

/// "10.0.0.2", "[fe80::1]:9443" and the like stand for the URL with the usual scheme and port.
std::string urlOf(const std::string& server) {
  if (server.find("://") != std::string::npos) return server;
  const std::size_t slash = std::min(server.find('/'), server.size());
  std::string host = server.substr(0, slash);
  const auto colons = std::count(host.begin(), host.end(), ':');
  if (colons > 1 && !host.starts_with('[')) host = "[" + host + "]";
  const bool hasPort = host.starts_with('[') ? !host.ends_with(']') : colons > 0;
  return "https://" + host + (hasPort ? "" : ":8443") + server.substr(slash);
}

std::string fingerprintOption(const std::string& text) {
  const auto fingerprint = httpclient::readFingerprint(text);
  if (!fingerprint) throw CLI::ValidationError("--fingerprint", "takes SHA256: and 64 hexadecimal digits");
  return *fingerprint;
}

void setFormat(Options& options, const std::string& name) {
  if (name != "table" && name != "json") throw CLI::ValidationError("--output", "takes table or json, not " + name);
  options.format = name == "json" ? Format::kJson : Format::kTable;
}

std::chrono::milliseconds durationOf(const char* option, double seconds, int longest) {
  constexpr double kShortest = 0.1;
  if (!(seconds >= kShortest && seconds <= longest)) {
    throw CLI::ValidationError(option, "takes 0.1 to " + std::to_string(longest) + " seconds");
  }
  return std::chrono::milliseconds(std::llround(seconds * 1000));
}

void setTimeout(Options& options, double seconds) {
  constexpr int kLongest = 3600;
  options.timeout = durationOf("--timeout", seconds, kLongest);
}

void addGlobals(CLI::App& app, Options& options) {
  app.add_option("--server", options.server,
                 "The server to ask, its URL or host; the environment's KVT_SERVER stands in for it")
      ->option_text("URL|HOST [" + options.server + "]")
      ->envname("KVT_SERVER")
      ->check(checkUrl);
  app.add_option_function<std::string>(
         "--fingerprint", [&options](const std::string& text) { options.fingerprint = fingerprintOption(text); },
         "Trust the server whose certificate has it, from now on")
      ->option_text("SHA256:...");
  app.add_option("--ca", options.authoritiesFile, "Trust servers whose certificate these authorities have signed (PEM)")
      ->option_text("FILE");
  app.add_option_function<std::string>(
         "-o,--output", [&options](const std::string& name) { setFormat(options, name); },
         "How to print: table or json")
      ->option_text("FORMAT [table]");
  app.add_option_function<double>(
         "--timeout", [&options](double seconds) { setTimeout(options, seconds); },
         "The longest wait for each answer, or of a search")
      ->option_text("SECONDS [10]");
  app.set_version_flag("--version", "kvtctl " SD_VERSION, "Print the version and exit");
  app.set_help_flag("-h,--help", "Print this and exit");
  app.require_subcommand(1);
  app.fallthrough();
}

void addCommand(CLI::App& group, Options& options, Command command, const char* name, const char* what,
                const char* argument = nullptr, const char* argumentMeaning = nullptr) {
  CLI::App* entry = group.add_subcommand(name, what);
  entry->fallthrough();
  if (argument != nullptr) {
    entry->add_option(argument, options.argument, argumentMeaning)
        ->option_text(" ")
        ->required(command != Command::kDetails);
  }
  entry->callback([&options, command] { options.command = command; });
}

void addObservers(CLI::App& app, Options& options) {
  CLI::App* watch = app.add_subcommand("watch", "Print what changes in the inventory, until interrupted");
  watch->fallthrough();
  watch->callback([&options] { options.command = Command::kWatch; });
  watch->add_flag_callback(
      "--json", [&options] { options.format = Format::kJson; }, "The same as -o json: one document on each line");
  addCommand(app, options, Command::kDoctor, "doctor", "Look for what keeps servers from finding one another");
}

void addCommands(CLI::App& app, Options& options) {
  CLI::App* servers = app.add_subcommand("servers", "The inventory of servers");
  servers->require_subcommand(1);
  servers->fallthrough();
  addCommand(*servers, options, Command::kList, "list", "List what the server knows");
  addCommand(*servers, options, Command::kSearch, "search", "Look for a server at an address", "ADDRESS",
             "An IP address or a host name");
  addCommand(*servers, options, Command::kAdd, "add", "Add a server that was searched for", "ID-or-ADDRESS",
             "Its identifier, or the address of the search");
  addCommand(*servers, options, Command::kRemove, "remove", "Remove a server from the inventory", "ID-or-ADDRESS",
             "Its identifier or its address");
  addCommand(app, options, Command::kDetails, "details", "Show one server", "ID",
             "Its identifier; the server that is asked when left out");
  addObservers(app, options);
}

/// The options of "kvtctl slp", and whether it was asked for.
struct SlpChoice {
  bool chosen = false;
  SlpOptions options;
};

CLI::App& addSlpCommand(CLI::App& group, SlpChoice& choice, SlpCommand command, const char* name, const char* what) {
  CLI::App* entry = group.add_subcommand(name, what);
  entry->fallthrough();
  entry->callback([&choice, command] {
    choice.chosen = true;
    choice.options.command = command;
  });
  return *entry;
}

void addSlpOptions(CLI::App& slp, SlpOptions& options) {
  slp.add_option("--interface", options.interfaces, "Search out of these interfaces only: names or addresses")
      ->option_text("NAME|ADDRESS[,...]");
  slp.add_option("--unicast", options.host, "Ask this host only")->option_text("HOST");
  slp.add_option("--scope", options.scopes, "Search in these scopes, not in the configured ones")
      ->option_text("SCOPE[,...]");
  slp.add_option("--port", options.port, "Another port than that of SLP, for trials without privilege")
      ->option_text("PORT [427]")
      ->check(CLI::Range(1, 65'535));
}

void addSlpCommands(CLI::App& app, Options& options, SlpChoice& choice) {
  CLI::App* slp = app.add_subcommand("slp", "Services in the network, by SLP");
  slp->require_subcommand(1);
  slp->fallthrough();
  addSlpOptions(*slp, choice.options);
  CLI::App& find = addSlpCommand(*slp, choice, SlpCommand::kFind, "find", "Find the services of a type");
  find.add_option("TYPE", options.argument, "As service:printer")->option_text(" ")->required();
  find.add_option("--filter", choice.options.filter, "Only those whose attributes match, as (speed>=10)")
      ->option_text("FILTER");
  CLI::App& attributes =
      addSlpCommand(*slp, choice, SlpCommand::kAttributes, "attrs", "Show the attributes of a service, or of a type");
  attributes.add_option("URL-or-TYPE", options.argument, "What find shows, or a type")->option_text(" ")->required();
  addSlpCommand(*slp, choice, SlpCommand::kTypes, "types", "List the types of services that there are");
  CLI::App& add =
      addSlpCommand(*slp, choice, SlpCommand::kRegister, "register", "Let a service be found, until interrupted");
  add.add_option("URL", options.argument, "As service:printer://host:515")->option_text(" ")->required();
  add.add_option("ATTRS", choice.options.attributes, "As (speed=12),(colour=true)")->option_text(" ");
  addSlpCommand(*slp, choice, SlpCommand::kAgents, "agents", "List the directory agents and service agents");
}

/// The options of "kvtctl announce listen", and whether it was asked for.
struct AnnounceChoice {
  bool chosen = false;
  AnnounceOptions options;
};

void addAnnounceCommands(CLI::App& app, Options& options, AnnounceChoice& choice) {
  constexpr int kLongest = 31'536'000;  // a year
  CLI::App* announce = app.add_subcommand("announce", "What servers announce by multicast");
  announce->require_subcommand(1);
  announce->fallthrough();
  CLI::App* listen = announce->add_subcommand("listen", "Print each record as it passes by, until interrupted");
  listen->fallthrough();
  listen->callback([&choice] { choice.chosen = true; });
  listen->add_option("--interface", choice.options.interfaces, "Listen on these interfaces only: names or addresses")
      ->option_text("NAME|ADDRESS[,...]");
  listen->add_option("--count", choice.options.count, "End after so many records")
      ->option_text("NUMBER")
      ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{1'000'000'000}));
  listen
      ->add_option_function<double>(
          "--for", [&choice](double seconds) { choice.options.duration = durationOf("--for", seconds, kLongest); },
          "End after this time")
      ->option_text("SECONDS");
  listen->add_flag_callback(
      "--json", [&options] { options.format = Format::kJson; }, "The same as -o json: one document on each line");
}

bool takesServer(const Options& options) {
  if (options.announce || options.user || options.access || options.peers) return false;
  return options.command == Command::kSearch || options.command == Command::kAdd ||
         options.command == Command::kRemove || options.command == Command::kDetails;
}

/// What is wrong with an empty argument; nothing when there is none, or none is needed.
const char* emptyArgument(const Options& options) {
  if (!options.argument.empty()) return nullptr;
  if (!options.slp) {
    return takesServer(options) ? "an empty text is no server's identifier or address" : nullptr;
  }
  const bool needsNone = options.slp->command == SlpCommand::kTypes || options.slp->command == SlpCommand::kAgents;
  return needsNone ? nullptr : "an empty text is no service type or URL";
}

}  // namespace

std::variant<Options, ExitCode> parseOptions(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  Options options;
  SlpChoice slp;
  AnnounceChoice announce;
  CLI::App app(
      "Asks a management server which servers it knows, changes that list, says who may do so, finds services by SLP, "
      "and listens to what servers announce.",
      "kvtctl");
  addGlobals(app, options);
  addCommands(app, options);
  addSlpCommands(app, options, slp);
  addAnnounceCommands(app, options, announce);
  addAccessCommands(app, options);
  app.footer(kFooter);
  try {
    app.parse(argc, argv);
  } catch (const CLI::Success& asked) {
    app.exit(asked, out, err);
    return ExitCode::kDone;
  } catch (const CLI::ParseError& wrong) {
    err << "kvtctl: " << neutralise(wrong.what()) << "\nTry kvtctl --help.\n";
    return ExitCode::kUsage;
  }
  options.server = urlOf(options.server);
  if (slp.chosen) options.slp = std::move(slp.options);
  if (announce.chosen) options.announce = std::move(announce.options);
  if (options.argument.empty() && options.command == Command::kDetails) options.argument = "self";
  if (const char* wrong = emptyArgument(options)) {
    err << "kvtctl: " << wrong << "\nTry kvtctl --help.\n";
    return ExitCode::kUsage;
  }
  return options;
}

}  // namespace cli
