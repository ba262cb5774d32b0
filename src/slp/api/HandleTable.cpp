#include "slp/api/HandleTable.h"

#include <utility>

#include "slp/wire/Limits.h"

namespace slp::api {
namespace {

/// As long as the end of a cancelled call may take at most.
constexpr std::chrono::milliseconds kClosePatience{50};

std::uintptr_t keyOf(SLPHandle value) {
  return reinterpret_cast<std::uintptr_t>(value);
}

}  // namespace

HandleTable::Claim::Claim(HandleTable& table, SLPHandle value)
    : mTable(table), mValue(value), mError(SLP_PARAMETER_BAD) {
  const std::lock_guard lock(mTable.mMutex);
  const auto found = mTable.mEntries.find(keyOf(value));
  if (found == mTable.mEntries.end()) return;
  if (found->second.call != nullptr) {
    mError = SLP_HANDLE_IN_USE;
    return;
  }
  mCall = std::make_shared<Call>();
  found->second.call = mCall;
  mHandle = found->second.handle;
  mError = SLP_OK;
}

HandleTable::Claim::~Claim() {
  if (mCall == nullptr) return;
  const std::lock_guard lock(mTable.mMutex);
  const auto found = mTable.mEntries.find(keyOf(mValue));
  if (found != mTable.mEntries.end()) found->second.call.reset();
}

SLPError HandleTable::open(std::string language, SLPHandle& value) {
  value = nullptr;
  auto handle = std::make_shared<Handle>();
  handle->language = std::move(language);
  const std::lock_guard lock(mMutex);
  if (mClosed) return SLP_NETWORK_INIT_FAILED;
  if (mEntries.size() >= limits::kMaxHandles) return SLP_MEMORY_ALLOC_FAILED;
  mEntries.emplace(mLast + 1, Entry{std::move(handle), nullptr});
  value = reinterpret_cast<SLPHandle>(++mLast);
  return SLP_OK;
}

void HandleTable::close(SLPHandle value) {
  std::shared_ptr<Call> call;
  {
    const std::lock_guard lock(mMutex);
    const auto found = mEntries.find(keyOf(value));
    if (found == mEntries.end()) return;
    call = std::move(found->second.call);
    mEntries.erase(found);
  }
  if (call == nullptr) return;
  call->cancel();
  call->awaitCallback(kClosePatience);
}

void HandleTable::closeAll() {
  std::unordered_map<std::uintptr_t, Entry> entries;
  {
    const std::lock_guard lock(mMutex);
    mClosed = true;
    entries.swap(mEntries);
  }
  for (const auto& [value, entry] : entries) {
    if (entry.call != nullptr) entry.call->cancel();
  }
}

}  // namespace slp::api
