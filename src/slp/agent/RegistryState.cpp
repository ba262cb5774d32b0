#include "slp/agent/RegistryState.h"

#include <algorithm>

#include "slp/wire/Limits.h"
#include "slp/wire/ServiceType.h"
#include "slp/wire/StringList.h"

namespace slp::agent {

namespace {

bool isComplete(const Registration& registration) {
  const auto fits = [](const std::string& text) { return text.size() <= limits::kMaxText; };
  return registration.lifetime != 0 && !registration.url.empty() && !registration.serviceType.empty() &&
         !registration.language.empty() && fits(registration.url) && fits(registration.serviceType) &&
         fits(registration.language) && fits(registration.scopes) && fits(registration.attributes);
}

std::size_t bytesOf(const Record& record) {
  return sizeof record + record.urlLength + record.attributesLength + record.serviceType->size() +
         record.scopes->size() + record.language->size();
}

std::size_t bytesOf(const Registration& registration) {
  return sizeof(Record) + registration.url.size() + registration.attributes.size() + registration.serviceType.size() +
         registration.scopes.size() + registration.language.size();
}

auto findScopes(Group& group, const std::string* scopes) {
  return std::find_if(group.scopes.begin(), group.scopes.end(),
                      [scopes](const auto& counted) { return counted.first == scopes; });
}

}  // namespace

std::size_t TypeHash::operator()(std::string_view type) const noexcept {
  std::uint64_t hash = 14'695'981'039'346'656'037U;  // FNV-1a
  bool behindBlank = false;
  for (const char character : wire::trimmed(type)) {
    const bool blank = wire::isBlank(character);
    if (blank && behindBlank) continue;
    behindBlank = blank;
    hash = (hash ^ static_cast<unsigned char>(blank ? ' ' : wire::lowered(character))) * 1'099'511'628'211U;
  }
  return static_cast<std::size_t>(hash);
}

Registry::State::State() : mParsed(limits::kMaxParsedAttributes) {}

Registry::State::~State() {
  for (auto& [owner, records] : mByOwner) {
    for (const auto* link = records.first(); link != records.end();) {
      const std::unique_ptr<Record> record(link->record);
      link = link->next;
    }
  }
}

Record* Registry::State::head(std::string_view url) const {
  const auto found = mByUrl.find(url);
  return found == mByUrl.end() ? nullptr : *found;
}

const Group* Registry::State::group(std::string_view type) const {
  const auto found = mByType.find(type);
  return found == mByType.end() ? nullptr : &**found;
}

wire::ErrorCode Registry::State::add(const Registration& registration, Owner owner, TimePoint now) {
  if (!isComplete(registration)) return wire::ErrorCode::kInvalidRegistration;
  Record* replaced = nullptr;
  std::size_t languages = 0;
  for (auto* record = head(registration.url); record; record = record->nextOfUrl) {
    if (record->owner == kThisProcess && owner != kThisProcess) return wire::ErrorCode::kInvalidRegistration;
    if (wire::equalFolded(*record->language, registration.language)) replaced = record;
    ++languages;
  }
  if (!replaced && languages >= limits::kMaxLanguagesOfUrl) return wire::ErrorCode::kBusyNow;
  if (!hasRoom(registration, owner, replaced)) return wire::ErrorCode::kBusyNow;
  if (replaced) {
    clear(*replaced);
    replaced->setTexts(registration.url, registration.attributes);
    fill(*replaced, registration, owner, now);
    return wire::ErrorCode::kOk;
  }
  auto record = std::make_unique<Record>(mParsed);
  record->setTexts(registration.url, registration.attributes);
  putIntoChain(record.get());
  fill(*record.release(), registration, owner, now);
  return wire::ErrorCode::kOk;
}

bool Registry::State::hasRoom(const Registration& registration, Owner owner, const Record* replaced) const {
  if (owner == kThisProcess) {
    return (replaced && replaced->owner == kThisProcess) || mOwn < limits::kMaxOwnRegistrations;
  }
  // What is replaced is foreign, too: nobody else replaces what is ours.
  const auto count = mForeign + (replaced ? 0 : 1);
  const auto bytes = mForeignBytes - (replaced ? bytesOf(*replaced) : 0) + bytesOf(registration);
  return count <= limits::kMaxForeignRegistrations && bytes <= limits::kMaxForeignBytes;
}

void Registry::State::fill(Record& record, const Registration& registration, Owner owner, TimePoint now) {
  setTypeAndScopes(record, registration.serviceType, registration.scopes);
  record.language = mInterner.take(registration.language);
  record.owner = owner;
  record.lifetime = registration.lifetime;
  mByOwner[owner].append(record.ofOwner);
  // Without a connection there is nobody whose end would withdraw it, so that the longest lifetime is one as well.
  const bool forever = record.lifetime == kLifetimeForever && owner != kNoConnection;
  record.deadline = forever ? TimePoint::max() : now + std::chrono::seconds(record.lifetime);
  if (record.expires()) mDeadlines.insert(&record);
  account(record, true);
}

void Registry::State::clear(Record& record) {
  account(record, false);
  if (record.expires()) mDeadlines.erase(&record);
  RecordList::remove(record.ofOwner);
  if (const auto owned = mByOwner.find(record.owner); owned->second.empty()) mByOwner.erase(owned);
  mInterner.giveBack(record.language);
}

void Registry::State::account(const Record& record, bool appears) {
  if (record.owner == kThisProcess) {
    appears ? ++mOwn : --mOwn;
    return;
  }
  appears ? ++mForeign : --mForeign;
  const auto bytes = bytesOf(record);
  mForeignBytes = appears ? mForeignBytes + bytes : mForeignBytes - bytes;
}

void Registry::State::erase(Record* record) {
  const std::unique_ptr<Record> gone(record);
  takeOutOfChain(record);
  clear(*record);
  uncountType(*record->group, record->scopes);
  move(record->group, record->inGroup, nullptr);
  move(record->abstractGroup, record->inAbstractGroup, nullptr);
  giveTextsBack(*record);
}

void Registry::State::putIntoChain(Record* record) {
  const auto [place, isNew] = mByUrl.insert(record);
  record->firstOfUrl = *place;
  if (isNew) return;
  auto* last = *place;
  while (last->nextOfUrl)
    last = last->nextOfUrl;
  last->nextOfUrl = record;
}

void Registry::State::takeOutOfChain(Record* record) {
  if (record->firstOfUrl == record) {
    mByUrl.erase(mByUrl.find(record->url()));
    auto* first = record->nextOfUrl;
    if (first) mByUrl.insert(first);
    for (auto* other = first; other; other = other->nextOfUrl)
      other->firstOfUrl = first;
    return;
  }
  auto* before = record->firstOfUrl;
  while (before->nextOfUrl != record)
    before = before->nextOfUrl;
  before->nextOfUrl = record->nextOfUrl;
}

/// A record that keeps its type keeps its place, too: a refreshed service does not move in the results. What is new is
/// counted before what was is not any more, so that a refresh makes no type go and come back.
void Registry::State::setTypeAndScopes(Record& record, std::string_view type, std::string_view scopes) {
  const auto* newType = mInterner.take(type);
  const auto* newScopes = mInterner.take(scopes);
  auto* group = joined(*newType);
  countType(*group, newScopes, newType);
  if (record.group) uncountType(*record.group, record.scopes);
  const auto abstractType = wire::indexKeys(type).abstractType;
  auto* abstractGroup = abstractType.empty() ? nullptr : joined(abstractType);
  move(record.group, record.inGroup, group);
  move(record.abstractGroup, record.inAbstractGroup, abstractGroup);
  giveTextsBack(record);
  record.serviceType = newType;
  record.scopes = newScopes;
}

void Registry::State::giveTextsBack(Record& record) {
  if (record.serviceType) mInterner.giveBack(record.serviceType);
  if (record.scopes) mInterner.giveBack(record.scopes);
  record.serviceType = record.scopes = nullptr;
}

/// The record is already counted in `to`, which thereby outlives the leaving of another group.
void Registry::State::move(Group*& from, Link& link, Group* to) {
  auto* left = std::exchange(from, to);
  if (left == to) {
    if (to) --to->size;
    return;
  }
  if (left) leave(*left, link);
  if (to) to->records.append(link);
}

Group* Registry::State::joined(std::string_view type) {
  if (const auto found = mByType.find(type); found != mByType.end()) {
    ++(*found)->size;
    return &**found;
  }
  auto& group = mGroups.emplace_back();
  group.key = group.spelling = mInterner.take(type);
  mInterner.take(*group.spelling);
  group.size = 1;
  mByType.insert(std::prev(mGroups.end()));
  return &group;
}

void Registry::State::leave(Group& group, Link& link) {
  RecordList::remove(link);
  if (--group.size > 0) return;
  const auto found = mByType.find(*group.key);
  const auto place = *found;
  mByType.erase(found);
  mInterner.giveBack(group.key);
  mInterner.giveBack(group.spelling);
  mGroups.erase(place);
}

void Registry::State::countType(Group& group, const std::string* scopes, const std::string* spelling) {
  if (group.scopes.empty()) {
    ++mTypesGeneration;
    mInterner.take(*spelling);
    mInterner.giveBack(std::exchange(group.spelling, spelling));
  }
  const auto place = findScopes(group, scopes);
  if (place == group.scopes.end()) {
    group.scopes.emplace_back(scopes, 1);
  } else {
    ++place->second;
  }
}

void Registry::State::uncountType(Group& group, const std::string* scopes) {
  const auto place = findScopes(group, scopes);
  if (--place->second > 0) return;
  group.scopes.erase(place);
  if (group.scopes.empty()) ++mTypesGeneration;
}

Registry::Entry entryOf(const Record& record, TimePoint now) {
  Registry::Entry entry{record.url(),     *record.serviceType, *record.scopes, record.attributes(),
                        *record.language, record.lifetime,     record.owner};
  if (record.expires()) {
    const auto left = std::chrono::ceil<std::chrono::seconds>(record.deadline - now).count();
    entry.lifetime = static_cast<std::uint16_t>(std::clamp<std::int64_t>(left, 0, record.lifetime));
  }
  return entry;
}

}  // namespace slp::agent
