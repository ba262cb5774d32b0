#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "host/Result.h"
#include "host/config/Settings.h"
#include "host/tls/CertificateInfo.h"

namespace boost::asio::ssl {
class context;
}
namespace state {
class Directory;
}

namespace host {

/// What new connections are served with: the server's certificate, its key, and the rules of TLS. The certificate is
/// the administrator's, or one that the server made and signed itself at its first start. That one is never renewed
/// by itself, because other servers know this one by it. Safe for every thread.
class TlsContext {
 public:
  /// In the state directory: the server's own key and certificate, as PEM.
  static constexpr const char* kFileName = "tls.pem";

  /// Makes the server's own certificate where it is needed and missing. The failure says what is wrong and what to do.
  static Result<std::shared_ptr<TlsContext>> open(const TlsSettings& settings, const state::Directory& directory);
  ~TlsContext();
  TlsContext(const TlsContext&) = delete;
  TlsContext& operator=(const TlsContext&) = delete;

  /// Reads the files anew and changes nothing yet; what it gives changes over, and must not outlive this.
  Result<std::function<void()>> prepare(const TlsSettings& settings);

  /// Prepares and changes over. New connections get what they hold; those that exist go on as they are. What is wrong,
  /// and nothing has changed then; nothing when all is well.
  std::optional<std::string> reload(const TlsSettings& settings);

  /// For a new connection, which keeps it.
  std::shared_ptr<boost::asio::ssl::context> current() const;
  CertificateInfo info() const;

  /// Logs a certificate whose end is near, once a day. To be called now and then.
  void watchTheEnd(std::chrono::system_clock::time_point now);

 private:
  struct Loaded {
    std::shared_ptr<boost::asio::ssl::context> context;
    CertificateInfo info;
  };

  explicit TlsContext(const state::Directory& directory);
  Result<Loaded> load(const TlsSettings& settings) const;
  std::string ownPem() const;
  void install(Loaded loaded);

  const state::Directory& mDirectory;
  mutable std::mutex mMutex;
  Loaded mLoaded;
  std::chrono::system_clock::time_point mWatched;
};

}  // namespace host
