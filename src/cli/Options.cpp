#include "cli/Options.h"

#include <cmath>
#include <ostream>
#include <string>

#include <CLI/CLI.hpp>

#include "cli/Text.h"

namespace cli {
namespace {

constexpr const char* kFooter =
    "Examples:\n"
    "  kvtctl servers search 192.0.2.7    look for a server at an address, or at a host name\n"
    "  kvtctl servers add 192.0.2.7       take what was found into the inventory\n"
    "  kvtctl servers list -o json        for scripts\n"
    "\n"
    "Exit codes:\n"
    "  0  done\n"
    "  1  the server refused, or what was asked for is not there\n"
    "  2  the command line is wrong\n"
    "  3  the server could not be reached, or cannot answer now\n"
    "  4  what answered makes no sense\n";

std::string checkUrl(const std::string& url) {
  const bool known = url.rfind("http://", 0) == 0 || url.rfind("https://", 0) == 0;
  return known ? std::string() : "takes a URL that begins with http:// or https://, not " + url;
}

void setFormat(Options& options, const std::string& name) {
  if (name != "table" && name != "json") throw CLI::ValidationError("--output", "takes table or json, not " + name);
  options.format = name == "json" ? Format::kJson : Format::kTable;
}

void setTimeout(Options& options, double seconds) {
  constexpr double kShortest = 0.1;
  constexpr double kLongest = 3600;
  if (!(seconds >= kShortest && seconds <= kLongest)) {
    throw CLI::ValidationError("--timeout", "takes 0.1 to 3600 seconds");
  }
  options.timeout = std::chrono::milliseconds(std::lround(seconds * 1000));
}

void addGlobals(CLI::App& app, Options& options) {
  app.add_option("--server", options.server, "The server to ask; the environment's KVT_SERVER stands in for it")
      ->option_text("URL [" + options.server + "]")
      ->envname("KVT_SERVER")
      ->check(checkUrl);
  app.add_option_function<std::string>(
         "-o,--output", [&options](const std::string& name) { setFormat(options, name); },
         "How to print: table or json")
      ->option_text("FORMAT [table]");
  app.add_option_function<double>(
         "--timeout", [&options](double seconds) { setTimeout(options, seconds); }, "The longest wait for each answer")
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
}

}  // namespace

std::variant<Options, ExitCode> parseOptions(int argc, const char* const* argv, std::ostream& out, std::ostream& err) {
  Options options;
  CLI::App app("Asks a management server which servers it knows, and changes that list.", "kvtctl");
  addGlobals(app, options);
  addCommands(app, options);
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
  if (options.argument.empty() && options.command == Command::kDetails) options.argument = "self";
  if (options.argument.empty() && options.command != Command::kList) {
    err << "kvtctl: an empty text is no server's identifier or address\nTry kvtctl --help.\n";
    return ExitCode::kUsage;
  }
  return options;
}

}  // namespace cli
