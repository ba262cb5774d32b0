#pragma once

#include <string>

#include "host/http/Service.h"

namespace host {

/// Saves what a client has already, and half of the way of the rest: good answers to GET and HEAD get an entity tag,
/// are 304 to whoever has them (RFC 9110 section 13.1.2), and go out in gzip to whoever takes it. Streams, and answers
/// that say themselves how they are encoded, pass as they are. The lists of the API may be kept by a browser that asks
/// each time whether they still hold; nothing else may, unless the answer says so.
///
/// The work is done in the thread that gives the answer: for 4 MB of records about 4 ms for the tag and 13 ms for the
/// compression. What is answered by the front's thread should be small. Safe for every thread.
class Encoding : public Service {
 public:
  /// `next` must outlive it, and the answers that are still to come. `uriPrefix` is what paths may begin with, "" for
  /// nothing.
  Encoding(std::string uriPrefix, Service& next);

  void serve(ClientRequest request, Done done) override;

 private:
  const std::string mUriPrefix;
  Service& mNext;
};

}  // namespace host
