#include "host/tls/OpenSsl.h"

#include <openssl/err.h>

namespace host::tls {

std::string takeErrors() {
  const unsigned long last = ERR_peek_last_error();
  const char* reason = last != 0 ? ERR_reason_error_string(last) : nullptr;
  ERR_clear_error();
  return reason != nullptr ? reason : "unknown error";
}

}  // namespace host::tls
