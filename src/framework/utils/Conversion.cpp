#include "framework/utils/Conversion.h"

#include "framework/launcher/Preferences.h"

namespace utils {

std::string Conversion::trimPrefixURI(std::string uri) {
  const std::string prefix = launcher::Preferences::get_instance()->get_uri_prefix();
  if (prefix.empty() || !uri.starts_with(prefix)) return uri;
  const bool wholeSegments = uri.size() == prefix.size() || uri[prefix.size()] == '/';
  return wholeSegments ? uri.substr(prefix.size()) : uri;
}

}  // namespace utils
