#include "host/observe/Counts.h"

#include <algorithm>

namespace host {
namespace {

constexpr const char* kOther = "other";

bool isName(std::string_view text) {
  return !text.empty() && text.size() <= 64 && std::all_of(text.begin(), text.end(), [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_';
  });
}

/// The entry of a name, made when there is room; null when there is none.
template <typename Table>
typename Table::mapped_type* entryOf(Table& table, std::string_view name) {
  const auto known = table.find(name);
  if (known != table.end()) return &known->second;
  if (table.size() >= Counts::kMostNames || !isName(name)) return nullptr;
  return &table[std::string(name)];
}

}  // namespace

void Counts::count(std::string_view counter, std::string_view kind, std::uint64_t by) {
  const std::lock_guard lock(mMutex);
  Kinds* const kinds = entryOf(mCounters, counter);
  if (kinds == nullptr) return;
  const auto known = kinds->find(kind);
  if (known != kinds->end()) {
    known->second += by;
  } else {
    (*kinds)[kinds->size() < kMostKinds ? std::string(kind) : kOther] += by;
  }
}

void Counts::measure(std::string_view gauge, double value) {
  const std::lock_guard lock(mMutex);
  if (double* const measured = entryOf(mGauges, gauge)) *measured = value;
}

Counts::Counters Counts::counters() const {
  const std::lock_guard lock(mMutex);
  return mCounters;
}

Counts::Kinds Counts::kinds(std::string_view counter) const {
  const std::lock_guard lock(mMutex);
  const auto known = mCounters.find(counter);
  return known == mCounters.end() ? Kinds() : known->second;
}

Counts::Gauges Counts::gauges() const {
  const std::lock_guard lock(mMutex);
  return mGauges;
}

std::uint64_t total(const Counts::Kinds& kinds) {
  std::uint64_t sum = 0;
  for (const auto& [kind, count] : kinds)
    sum += count;
  return sum;
}

}  // namespace host
