#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "cli/Options.h"
#include "cli/Result.h"

namespace cli {

/// A handle of the SLP library, with what the command line says of the search. Every failure is in words.
class SlpSession {
 public:
  using UrlSink = std::function<void(const std::string& url, std::uint16_t lifetime)>;
  using TextSink = std::function<void(const std::string& text)>;
  using Ended = std::optional<Failure>;  ///< nothing when it went well

  /// Sets the library's properties, which are those of the process.
  static Result<std::unique_ptr<SlpSession>> open(const SlpOptions& options, std::chrono::milliseconds timeout);
  ~SlpSession();
  SlpSession(const SlpSession&) = delete;
  SlpSession& operator=(const SlpSession&) = delete;

  /// Each URL as it arrives.
  Ended findServices(const std::string& type, const UrlSink& found) const;
  /// Each answer as it arrives.
  Ended findAttributes(const std::string& urlOrType, const TextSink& found) const;
  /// Each type once.
  Ended findTypes(const TextSink& found) const;
  Ended add(const std::string& url, const std::string& attributes) const;
  Ended remove(const std::string& url) const;

 private:
  SlpSession(void* handle, const SlpOptions& options);
  Ended associate() const;

  void* mHandle;
  SlpOptions mOptions;
};

}  // namespace cli
