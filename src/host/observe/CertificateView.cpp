#include "host/observe/CertificateView.h"

#include "host/IsoTime.h"

namespace host {

json::Object certificateDocument(const CertificateInfo& certificate) {
  json::Object document;
  document["subject"] = json::String(certificate.subject);
  document["issuer"] = json::String(certificate.issuer);
  document["fingerprint"] = json::String(certificate.fingerprint);
  document["notBefore"] = json::String(isoTime(certificate.notBefore));
  document["notAfter"] = json::String(isoTime(certificate.notAfter));
  document["isSelfSigned"] = json::Boolean(certificate.isSelfSigned);
  return document;
}

}  // namespace host
