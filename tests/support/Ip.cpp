#include "support/Ip.h"

#include <cerrno>
#include <iterator>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace support {

bool ip(const std::string& words) {
  std::istringstream stream("ip " + words);
  std::vector<std::string> arguments{std::istream_iterator<std::string>(stream), {}};
  std::vector<char*> pointers;
  for (auto& argument : arguments)
    pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  pid_t child = 0;
  int status = -1;
  if (posix_spawnp(&child, "ip", nullptr, nullptr, pointers.data(), environ) != 0) return false;
  while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

}  // namespace support
