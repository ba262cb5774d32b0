#pragma once

#include <string>

#include "json/elements.h"

namespace launcher {

/// The host's hashing service. Stateless; safe for every thread.
class KVTCrypto {
 public:
  static KVTCrypto* get_instance();

  /// SHA-256 in lower-case hex over a canonical text of the object: members sorted by name at every level, numbers in
  /// one form, and blanks and TABs inside strings and names left out, because texts that travel as SLP attributes lose
  /// them and must still verify. Equal for equal content, whatever the order of members.
  std::string jsonObj_to_hashstr(json::Object object);
};

}  // namespace launcher
