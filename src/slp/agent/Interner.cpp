#include "slp/agent/Interner.h"

namespace slp::agent {

const std::string* Interner::take(std::string_view text) {
  auto found = mUses.find(text);
  if (found == mUses.end()) found = mUses.emplace(text, 0).first;
  ++found->second;
  return &found->first;
}

void Interner::giveBack(const std::string* text) {
  const auto found = mUses.find(*text);
  if (--found->second == 0) mUses.erase(found);
}

}  // namespace slp::agent
