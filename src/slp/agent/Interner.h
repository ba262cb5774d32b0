#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace slp::agent {

/// Keeps one copy of texts that thousands of registrations share: scopes, languages, types. Equal texts are one
/// pointer, valid until given back as often as it was taken. For one thread at a time.
class Interner {
 public:
  const std::string* take(std::string_view text);
  void giveBack(const std::string* text);
  std::size_t size() const { return mUses.size(); }

 private:
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept { return std::hash<std::string_view>{}(text); }
  };
  std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>> mUses;
};

}  // namespace slp::agent
