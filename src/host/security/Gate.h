#pragma once

#include <functional>
#include <string>

#include "host/http/Service.h"
#include "host/security/AccessTable.h"
#include "host/security/Identifier.h"

namespace host {

/// Lets requests through to the next service as `AccessTable.h` says, and refuses the others. A write that a page of
/// another server has made is refused, and one that a login's cookie lets in must show the login's token against such
/// writes, too. Writes are noted in the log: those of operators with their answer, and those that were refused. What it
/// lets through carries user, role, and whether that still holds. Safe for every thread.
class Gate : public Service {
 public:
  /// Called with the name of each token that lets a request in; must not block.
  using TokenUsed = std::function<void(const std::string&)>;

  /// `uriPrefix` is what paths may begin with. The others must outlive it.
  Gate(Identifier& identifier, std::string uriPrefix, Service& next, TokenUsed tokenUsed);

  void serve(ClientRequest request, Done done) override;

 private:
  Identifier& mIdentifier;
  const std::string mUriPrefix;
  Service& mNext;
  const TokenUsed mTokenUsed;
};

}  // namespace host
