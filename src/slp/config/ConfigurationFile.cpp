#include "slp/config/ConfigurationFile.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

#include "slp/config/Properties.h"
#include "slp/config/PropertyValues.h"

namespace slp::config {
namespace {

constexpr const char* kDefaultFile = "/etc/slp.conf";
/// A hundred times what every property at its longest usual value takes.
constexpr std::size_t kMaxFile = std::size_t{1024} * 1024;

std::string messageOf(int error) {
  return std::generic_category().message(error);
}

ConfigurationLine lineOf(std::string_view text, std::size_t number) {
  ConfigurationLine line;
  line.number = number;
  const auto equals = text.find('=');
  if (equals == std::string_view::npos) return line;
  auto name = unescaped(trimmed(text.substr(0, equals)));
  if (!name || name->empty()) return line;
  line.name = std::move(name);
  line.value = trimmed(text.substr(equals + 1));
  return line;
}

}  // namespace

std::vector<ConfigurationLine> linesOf(std::string_view text) {
  std::vector<ConfigurationLine> lines;
  for (std::size_t number = 1; !text.empty(); ++number) {
    // Lines end by LF, CR LF, or CR alone.
    const auto end = std::min(text.find_first_of("\r\n"), text.size());
    const auto line = trimmed(text.substr(0, end));
    text.remove_prefix(std::min(text.size(), end + (text.substr(end, 2) == "\r\n" ? 2 : 1)));
    if (!line.empty() && line.front() != '#' && line.front() != ';') lines.push_back(lineOf(line, number));
  }
  return lines;
}

std::string readText(const std::string& path, std::string& into) {
  // Not blocking, so that a pipe without a writer does not hold the program.
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return messageOf(errno);
  std::string problem;
  std::array<char, 4096> chunk;
  for (;;) {
    const auto count = ::read(fd, chunk.data(), chunk.size());
    if (count == 0) break;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      problem = messageOf(errno);
      break;
    }
    into.append(chunk.data(), static_cast<std::size_t>(count));
    if (into.size() > kMaxFile) {
      problem = "longer than " + std::to_string(kMaxFile) + " bytes";
      break;
    }
  }
  ::close(fd);
  return problem;
}

std::optional<std::string> configurationFile() {
  if (const char* const named = secure_getenv("SLP_CONF"); named != nullptr && *named != '\0') return named;
  if (::access(kDefaultFile, F_OK) == 0) return kDefaultFile;
  return std::nullopt;
}

}  // namespace slp::config
