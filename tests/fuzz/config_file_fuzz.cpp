#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "host/config/ConfigFile.h"

// A configuration is taken or refused with the place of each mistake. What is taken is written, and reads back to the
// same settings.
namespace {

constexpr const char* kFile = "kvt.toml";
constexpr std::size_t kMaxFileBytes = 1024 * 1024;  ///< of which no more is read

void require(bool condition, const char* what, const std::string& text) {
  if (condition) return;
  std::cerr << "config_file_fuzz: " << what << ":\n" << text << '\n';
  std::abort();
}

void requireAPlaceInEveryLine(std::string_view error) {
  const std::string start = std::string(kFile) + ":";
  require(error.starts_with(start), "a mistake without its file", std::string(error));
  const auto line = error.substr(start.size());
  require(!line.empty() && line.front() >= '0' && line.front() <= '9', "a mistake without its line",
          std::string(error));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > kMaxFileBytes) return 0;
  const auto settings = host::readConfig({reinterpret_cast<const char*>(data), size}, kFile);
  if (!settings) {
    requireAPlaceInEveryLine(settings.error());
    return 0;
  }
  const std::string dump = host::dumpConfig(*settings);
  const auto back = host::readConfig(dump, kFile);
  require(static_cast<bool>(back), "what was written is refused", back ? dump : back.error() + "\n" + dump);
  require(host::dumpConfig(*back) == dump, "what was written reads back to other settings", dump);
  return 0;
}
