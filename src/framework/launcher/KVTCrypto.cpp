#include "framework/launcher/KVTCrypto.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include <openssl/evp.h>

#include "framework/utils/Exceptions.h"
#include "json/writer.h"

namespace launcher {
namespace {

/// Without blanks and TABs: registered texts lose them on their way.
std::string compacted(const std::string& text) {
  std::string kept;
  std::copy_if(text.begin(), text.end(), std::back_inserter(kept), [](char c) { return c != ' ' && c != '\t'; });
  return kept;
}

/// Appends the canonical text of what it visits: compact JSON, members ordered by the bytes of their compacted names.
class Canonical : public json::ConstVisitor {
 public:
  explicit Canonical(std::string& text) : mText(text) {}

  void Visit(const json::Object& object) override {
    using Named = std::pair<std::string, const json::UnknownElement*>;
    std::vector<Named> members;
    for (const auto& member : object)
      members.emplace_back(compacted(member.name), &member.element);
    std::stable_sort(members.begin(), members.end(),
                     [](const Named& left, const Named& right) { return left.first < right.first; });
    mText += '{';
    for (const auto& [name, element] : members) {
      separate('{');
      json::Writer::Write(json::String(name), mText);
      mText += ':';
      element->Accept(*this);
    }
    mText += '}';
  }

  void Visit(const json::Array& array) override {
    mText += '[';
    for (const auto& element : array) {
      separate('[');
      element.Accept(*this);
    }
    mText += ']';
  }

  void Visit(const json::String& string) override {
    json::Writer::Write(json::String(compacted(string.Value())), mText);
  }

  void Visit(const json::Number& number) override {
    // Zero has two signs, which compare equal.
    json::Writer::Write(number.Value() == 0 ? json::Number(0) : number, mText);
  }

  void Visit(const json::Boolean& boolean) override { json::Writer::Write(boolean, mText); }
  void Visit(const json::Null& null) override { json::Writer::Write(null, mText); }

 private:
  void separate(char opening) {
    if (mText.back() != opening) mText += ',';
  }

  std::string& mText;
};

std::string sha256Hex(std::string_view text) {
  constexpr char kHex[] = "0123456789abcdef";
  std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
  unsigned int length = 0;
  if (EVP_Digest(text.data(), text.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
    throw utils::AppException(__FILE_NAME__, __LINE__, "SHA-256 is not available");
  }
  std::string hex;
  for (unsigned int i = 0; i < length; ++i) {
    hex += kHex[digest[i] >> 4];
    hex += kHex[digest[i] & 15];
  }
  return hex;
}

}  // namespace

KVTCrypto* KVTCrypto::get_instance() {
  static KVTCrypto crypto;  // holds nothing that could end before its last user
  return &crypto;
}

std::string KVTCrypto::jsonObj_to_hashstr(json::Object object) {
  std::string text;
  Canonical(text).Visit(std::as_const(object));
  return sha256Hex(text);
}

}  // namespace launcher
