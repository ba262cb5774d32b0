#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

#include "slp/agent/Interner.h"
#include "slp/agent/Record.h"
#include "slp/agent/Registry.h"
#include "slp/wire/Filter.h"
#include "slp/wire/Text.h"

namespace slp::agent {

/// The records that are found under one type: those of the type, and those whose abstract type it is.
struct Group {
  const std::string* key;       ///< the type; equal ones have equal folded forms
  const std::string* spelling;  ///< of the first record of the type itself
  RecordList records;
  std::size_t size = 0;
  /// How many records of the type itself have which scopes: a list of types need not look at each record.
  std::vector<std::pair<const std::string*, std::size_t>> scopes;
};

using Groups = std::list<Group>;

/// Finds groups by their types, however they are written.
struct TypeHash {
  using is_transparent = void;
  std::size_t operator()(std::string_view type) const noexcept;
  std::size_t operator()(Groups::iterator group) const noexcept { return (*this)(*group->key); }
};
struct TypeEqual {
  using is_transparent = void;
  bool operator()(Groups::iterator left, Groups::iterator right) const noexcept { return left == right; }
  bool operator()(std::string_view left, Groups::iterator right) const noexcept {
    return wire::equalFolded(left, *right->key);
  }
  bool operator()(Groups::iterator left, std::string_view right) const noexcept { return (*this)(right, left); }
};

/// What a walk through a group selects.
struct Selection {
  const Registry::Search& search;
  TimePoint now;
  const wire::Filter* filter = nullptr;
  bool byLanguage = false;
};

/// Visits what is selected, in order. kLanguageNotSupported when the language left nothing of what is in the scopes.
Registry::Result walk(const Group& group, const Selection& selection, const Registry::Visitor& visit);

Registry::Entry entryOf(const Record& record, TimePoint now);

/// The tables of the registry, without its lock.
struct Registry::State {
  State();
  ~State();
  State(const State&) = delete;
  State& operator=(const State&) = delete;

  // Reading
  Record* head(std::string_view url) const;
  const Group* group(std::string_view type) const;
  std::size_t size() const { return mOwn + mForeign; }

  // Changing
  wire::ErrorCode add(const Registration& registration, Owner owner, TimePoint now);
  void erase(Record* record);

  std::map<Owner, RecordList> mByOwner;
  Groups mGroups;  ///< in order of appearance
  std::uint64_t mTypesGeneration = 0;

  struct ByDeadline {
    bool operator()(const Record* left, const Record* right) const {
      if (left->deadline != right->deadline) return left->deadline < right->deadline;
      return std::less<>{}(left, right);
    }
  };
  std::set<Record*, ByDeadline> mDeadlines;  ///< of those that have one

 private:
  struct UrlHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view url) const noexcept { return std::hash<std::string_view>{}(url); }
    std::size_t operator()(const Record* record) const noexcept { return (*this)(record->url()); }
  };
  struct UrlEqual {
    using is_transparent = void;
    bool operator()(std::string_view left, const Record* right) const noexcept { return left == right->url(); }
    bool operator()(const Record* left, std::string_view right) const noexcept { return left->url() == right; }
    bool operator()(const Record* left, const Record* right) const noexcept { return left->url() == right->url(); }
  };

  bool hasRoom(const Registration& registration, Owner owner, const Record* replaced) const;
  void fill(Record& record, const Registration& registration, Owner owner, TimePoint now);
  void clear(Record& record);  ///< the reverse of fill, but for the texts, the type and the scopes
  void putIntoChain(Record* record);
  void takeOutOfChain(Record* record);
  void setTypeAndScopes(Record& record, std::string_view type, std::string_view scopes);
  void giveTextsBack(Record& record);
  Group* joined(std::string_view type);  ///< the group, made if need be, with one record more in its count
  void move(Group*& from, Link& link, Group* to);
  void leave(Group& group, Link& link);
  void countType(Group& group, const std::string* scopes, const std::string* spelling);
  void uncountType(Group& group, const std::string* scopes);
  void account(const Record& record, bool appears);

  std::unordered_set<Record*, UrlHash, UrlEqual> mByUrl;  ///< the first of each URL
  std::unordered_set<Groups::iterator, TypeHash, TypeEqual> mByType;
  Interner mInterner;
  ParsedBudget mParsed;
  std::size_t mOwn = 0;
  std::size_t mForeign = 0;
  std::size_t mForeignBytes = 0;
};

}  // namespace slp::agent
