#pragma once

#include <string>

namespace utils {

class Conversion {
 public:
  /// The URI without the host's URI prefix; unchanged when it does not begin with it.
  static std::string trimPrefixURI(std::string uri);
};

}  // namespace utils
