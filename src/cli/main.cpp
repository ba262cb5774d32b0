#include <exception>
#include <iostream>
#include <variant>

#include "cli/Commands.h"
#include "cli/Options.h"
#include "cli/ServerApi.h"
#include "httpclient/HttpClient.h"

int main(int argc, char** argv) {
  try {
    const auto parsed = cli::parseOptions(argc, argv, std::cout, std::cerr);
    if (const auto* code = std::get_if<cli::ExitCode>(&parsed)) return static_cast<int>(*code);
    const auto& options = std::get<cli::Options>(parsed);
    const cli::ServerApi server(httpclient::perform, options.server, options.timeout);
    const cli::ExitCode code = cli::runCommand(options, server, std::cout, std::cerr);
    if (std::cout.flush()) return static_cast<int>(code);
    std::cerr << "kvtctl: cannot write the output\n";
    return static_cast<int>(cli::ExitCode::kRefused);
  } catch (const std::exception& e) {
    std::cerr << "kvtctl: " << e.what() << "\n";
    return static_cast<int>(cli::ExitCode::kNonsense);
  }
}
