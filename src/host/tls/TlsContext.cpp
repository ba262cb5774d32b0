#include "host/tls/TlsContext.h"

#include <array>
#include <exception>
#include <string_view>
#include <utility>

#include <boost/asio/ssl/context.hpp>
#include <openssl/ssl.h>

#include "framework/utils/Log.h"
#include "host/tls/Pem.h"
#include "host/tls/SelfSigned.h"
#include "state/Directory.h"

namespace host {
namespace {

namespace ssl = boost::asio::ssl;
using std::chrono::system_clock;

/// For TLS 1.2: forward secrecy and authenticated encryption alone. TLS 1.3 has nothing else.
constexpr const char* kCiphers = "ECDHE+AESGCM:ECDHE+CHACHA20";
constexpr std::string_view kProtocols = "\x08http/1.1";  // RFC 7301 section 3.1: each with its length in front
constexpr std::string_view kSessionIdContext = "kvt-server";
constexpr std::chrono::hours kReminder{24};

/// RFC 7301 section 3.2: who offers protocols and not this one is told so, and is not taken for a speaker of it.
int selectProtocol(SSL*, const unsigned char** chosen, unsigned char* chosenLength, const unsigned char* offered,
                   unsigned int offeredLength, void*) {
  unsigned char* match = nullptr;
  const int result =
      SSL_select_next_proto(&match, chosenLength, reinterpret_cast<const unsigned char*>(kProtocols.data()),
                            static_cast<unsigned int>(kProtocols.size()), offered, offeredLength);
  *chosen = match;
  return result == OPENSSL_NPN_NEGOTIATED ? SSL_TLSEXT_ERR_OK : SSL_TLSEXT_ERR_ALERT_FATAL;
}

/// Tickets let clients resume; nothing is kept for them here.
bool setRules(SSL_CTX& context, const TlsSettings& settings) {
  const bool onlyNewest = settings.leastVersion == TlsSettings::Version::kTls13;
  SSL_CTX_set_options(&context, SSL_OP_NO_COMPRESSION | SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE |
                                    SSL_OP_PRIORITIZE_CHACHA);
  SSL_CTX_set_mode(&context, SSL_MODE_RELEASE_BUFFERS);
  SSL_CTX_set_session_cache_mode(&context, SSL_SESS_CACHE_OFF);
  SSL_CTX_set_num_tickets(&context, 1);
  SSL_CTX_set_alpn_select_cb(&context, selectProtocol, nullptr);
  return SSL_CTX_set_min_proto_version(&context, onlyNewest ? TLS1_3_VERSION : TLS1_2_VERSION) == 1 &&
         SSL_CTX_set_cipher_list(&context, kCiphers) == 1 &&
         SSL_CTX_set_session_id_context(&context, reinterpret_cast<const unsigned char*>(kSessionIdContext.data()),
                                        static_cast<unsigned int>(kSessionIdContext.size())) == 1;
}

bool setIdentity(SSL_CTX& context, const tls::Identity& identity) {
  if (SSL_CTX_use_certificate(&context, identity.certificate.get()) != 1) return false;
  for (const auto& link : identity.chain) {
    if (SSL_CTX_add1_chain_cert(&context, link.get()) != 1) return false;
  }
  return SSL_CTX_use_PrivateKey(&context, identity.key.get()) == 1;
}

void warn(const std::string& text) {
  utils::logging::write(utils::LOG_FAILURE, "TLS: " + text);
}

}  // namespace

Result<std::shared_ptr<TlsContext>> TlsContext::open(const TlsSettings& settings, const state::Directory& directory) {
  std::shared_ptr<TlsContext> context(new TlsContext(directory));
  auto loaded = context->load(settings);
  if (!loaded) return Failure{loaded.error()};
  context->install(std::move(*loaded));
  return context;
}

TlsContext::TlsContext(const state::Directory& directory) : mDirectory(directory) {}

TlsContext::~TlsContext() = default;

Result<std::function<void()>> TlsContext::prepare(const TlsSettings& settings) {
  auto loaded = load(settings);
  if (!loaded) return Failure{loaded.error()};
  return std::function<void()>([this, prepared = std::move(*loaded)] { install(prepared); });
}

std::optional<std::string> TlsContext::reload(const TlsSettings& settings) {
  const auto commit = prepare(settings);
  if (!commit) return commit.error();
  (*commit)();
  return std::nullopt;
}

std::shared_ptr<ssl::context> TlsContext::current() const {
  const std::lock_guard lock(mMutex);
  return mLoaded.context;
}

CertificateInfo TlsContext::info() const {
  const std::lock_guard lock(mMutex);
  return mLoaded.info;
}

void TlsContext::watchTheEnd(system_clock::time_point now) {
  std::string trouble;
  {
    const std::lock_guard lock(mMutex);
    if (now < mWatched + kReminder && now >= mWatched) return;
    mWatched = now;
    trouble = troubleWithTime(mLoaded.info, now);
  }
  if (!trouble.empty()) warn(trouble);
}

void TlsContext::install(Loaded loaded) {
  {
    const std::lock_guard lock(mMutex);
    std::swap(mLoaded, loaded);
    mWatched = {};
  }
  watchTheEnd(system_clock::now());
}

std::string TlsContext::ownPem() const {
  const state::Directory::Lock lock(mDirectory);
  if (auto existing = mDirectory.read(kFileName)) return *existing;
  std::string made = tls::makeSelfSigned(tls::thisMachine(), system_clock::now());
  mDirectory.write(kFileName, made);
  return made;
}

Result<TlsContext::Loaded> TlsContext::load(const TlsSettings& settings) const {
  const bool isOwn = settings.certificateFile.empty() && settings.keyFile.empty();
  if (!isOwn && (settings.certificateFile.empty() || settings.keyFile.empty())) {
    return Failure{
        "tls.certificate and tls.key go together: name both files, or none for a certificate of the server's own"};
  }
  const std::string certificateName = isOwn ? mDirectory.pathOf(kFileName) : settings.certificateFile;
  const std::string keyName = isOwn ? certificateName : settings.keyFile;
  try {
    auto certificate = isOwn ? Result<std::string>(ownPem()) : tls::readPemFile(certificateName);
    if (!certificate) return Failure{certificate.error()};
    auto key = isOwn ? certificate : tls::readPemFile(keyName);
    if (!key) return Failure{key.error()};
    auto identity = tls::readIdentity(*certificate, certificateName, *key, keyName);
    if (!identity && isOwn) {
      return Failure{identity.error() +
                     "; put it back from a copy, or remove it to have a new certificate made, which "
                     "other servers then have to be told to trust"};
    }
    if (!identity) return Failure{identity.error()};
    auto context = std::make_shared<ssl::context>(ssl::context::tls_server);
    if (!setRules(*context->native_handle(), settings) || !setIdentity(*context->native_handle(), *identity)) {
      return Failure{certificateName + ": cannot be used: " + tls::takeErrors()};
    }
    if (tls::isReadableByOthers(keyName)) warn(keyName + ": everybody on this machine may read the key; chmod o-r");
    return Loaded{std::move(context), describe(*identity->certificate)};
  } catch (const std::exception& error) {
    return Failure{error.what()};
  }
}

}  // namespace host
