#pragma once

#include "host/tls/CertificateInfo.h"
#include "json/elements.h"

namespace host {

/// The member "certificate" of the status document.
json::Object certificateDocument(const CertificateInfo& certificate);

}  // namespace host
