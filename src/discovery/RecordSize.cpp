#include "discovery/RecordSize.h"

#include <string>

#include "discovery/Limits.h"
#include "json/writer.h"

namespace discovery {

bool isTooLarge(const json::Object& record) {
  std::string text;
  json::Writer::Write(record, text);
  return text.size() > kMaxRecordLength;
}

}  // namespace discovery
