#include "framework/http/UriTemplate.h"

#include <utility>

namespace http {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

bool mayStandInSegment(char c) {
  const bool alphanumeric = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  return alphanumeric || std::string_view("-._~!$&'()*+,;=:@").find(c) != std::string_view::npos;
}

/// Cuts the text up to the next "/" off `rest`; false when there is nothing left to cut.
bool nextSegment(std::optional<std::string_view>& rest, std::string_view& segment) {
  if (!rest) return false;
  const auto slash = rest->find('/');
  segment = rest->substr(0, slash);
  if (slash == std::string_view::npos) {
    rest.reset();
  } else {
    rest = rest->substr(slash + 1);
  }
  return true;
}

}  // namespace

bool isUriParameter(std::string_view segment) {
  return segment.size() > 2 && segment.front() == '{' && segment.back() == '}';
}

std::optional<std::map<std::string, std::string>> matchUriTemplate(std::string_view uriTemplate,
                                                                   std::string_view path) {
  std::map<std::string, std::string> parameters;
  std::optional<std::string_view> restOfTemplate = uriTemplate;
  std::optional<std::string_view> restOfPath = path.substr(0, path.find('?'));
  std::string_view expected;
  std::string_view given;
  while (nextSegment(restOfTemplate, expected)) {
    if (!nextSegment(restOfPath, given)) return std::nullopt;
    auto decoded = percentDecode(given);
    if (!decoded) return std::nullopt;
    if (isUriParameter(expected)) {
      parameters.emplace(expected, std::move(*decoded));
    } else if (*decoded != expected) {
      return std::nullopt;
    }
  }
  if (restOfPath) return std::nullopt;
  return parameters;
}

std::optional<std::string> percentDecode(std::string_view text) {
  std::string decoded;
  decoded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '%') {
      decoded += text[i];
      continue;
    }
    if (text.size() - i < 3) return std::nullopt;
    const int high = hexDigit(text[i + 1]);
    const int low = hexDigit(text[i + 2]);
    if (high < 0 || low < 0 || (high == 0 && low == 0)) return std::nullopt;
    decoded += static_cast<char>(high * 16 + low);
    i += 2;
  }
  return decoded;
}

std::string lastPathSegment(std::string_view uri) {
  const std::string_view path = uri.substr(0, uri.find('?'));
  const std::string_view segment = path.substr(path.rfind('/') + 1);
  return percentDecode(segment).value_or(std::string(segment));
}

std::string percentEncode(std::string_view text) {
  constexpr char kHex[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (const char c : text) {
    if (mayStandInSegment(c)) {
      encoded += c;
      continue;
    }
    const auto byte = static_cast<unsigned char>(c);
    encoded += '%';
    encoded += kHex[byte >> 4];
    encoded += kHex[byte & 15];
  }
  return encoded;
}

}  // namespace http
