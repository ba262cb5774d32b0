#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "slp/agent/Registration.h"
#include "slp/wire/AttributeList.h"

namespace slp::agent {

struct Group;
struct Record;

/// A place in a list of records, inside the record, so that leaving the list costs nothing.
struct Link {
  Link* previous = nullptr;
  Link* next = nullptr;
  Record* record = nullptr;
  bool linked() const { return next != nullptr; }
};

/// Records in the order in which they came. Owns none of them.
class RecordList {
 public:
  RecordList() { mEnd.previous = mEnd.next = &mEnd; }
  RecordList(const RecordList&) = delete;
  RecordList& operator=(const RecordList&) = delete;

  bool empty() const { return mEnd.next == &mEnd; }
  const Link* first() const { return mEnd.next; }
  const Link* end() const { return &mEnd; }
  void append(Link& link);
  static void remove(Link& link);

 private:
  Link mEnd;
};

/// The parsed attributes that filters need, all together: some are kept between searches, as many as fit.
class ParsedBudget {
 public:
  explicit ParsedBudget(std::size_t bytes) : mBytes(bytes) {}
  bool take(std::size_t bytes);
  void giveBack(std::size_t bytes) { mUsed.fetch_sub(bytes, std::memory_order_relaxed); }

 private:
  std::size_t mBytes;
  std::atomic<std::size_t> mUsed{0};
};

/// One registration in the registry: its own texts in one block, shared ones interned. Parsed attributes come into
/// being with the first filter that looks at them; readers may race for that.
struct Record {
  explicit Record(ParsedBudget& parsed) : mBudget(parsed) {
    inGroup.record = inAbstractGroup.record = ofOwner.record = this;
  }
  ~Record() { forgetParsed(); }
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;

  std::string_view url() const { return {texts.get(), urlLength}; }
  std::string_view attributes() const { return {texts.get() + urlLength, attributesLength}; }
  void setTexts(std::string_view url, std::string_view attributes);

  /// The attributes as filters see them; `scratch` holds them when there is no room to keep them.
  const wire::AttributeList& parsed(std::unique_ptr<const wire::AttributeList>& scratch) const;
  /// Whether `parsed` needs no work.
  bool isParsed() const { return mParsed.load(std::memory_order_acquire) != nullptr; }
  void forgetParsed();

  bool expires() const { return deadline != std::chrono::steady_clock::time_point::max(); }

  std::unique_ptr<char[]> texts;
  std::uint32_t urlLength = 0;
  std::uint32_t attributesLength = 0;
  const std::string* serviceType = nullptr;
  const std::string* scopes = nullptr;
  const std::string* language = nullptr;
  Owner owner = kThisProcess;
  std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
  std::uint16_t lifetime = 0;
  Group* group = nullptr;          ///< of its type
  Group* abstractGroup = nullptr;  ///< of its abstract type; null when it has none
  Record* firstOfUrl = nullptr;    ///< of those with the same URL in different languages; often itself
  Record* nextOfUrl = nullptr;
  Link inGroup, inAbstractGroup, ofOwner;

 private:
  ParsedBudget& mBudget;
  mutable std::atomic<const wire::AttributeList*> mParsed{nullptr};
};

}  // namespace slp::agent
