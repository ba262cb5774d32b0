#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "slp/api/Call.h"
#include "slp/include/slp.h"
#include "slp/net/Address.h"

namespace slp::api {

/// What a handle stands for. Only the call that holds the handle reads and changes it.
struct Handle {
  std::string language;
  std::optional<net::Address> host;     ///< SLPAssociateIP
  std::vector<std::string> interfaces;  ///< SLPAssociateIFList
};

/// The open handles. Their values are numbers that are never used again, so that a closed or foreign one is told from
/// an open one without looking at what it points to. Safe for every thread.
class HandleTable {
 public:
  /// A handle for the time of one call: nobody else gets it meanwhile, and what it stands for outlives SLPClose.
  class Claim {
   public:
    /// `error()` says why there is none: SLP_PARAMETER_BAD or SLP_HANDLE_IN_USE.
    Claim(HandleTable& table, SLPHandle value);
    ~Claim();
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

    SLPError error() const { return mError; }
    Handle& handle() const { return *mHandle; }
    Call& call() const { return *mCall; }

   private:
    HandleTable& mTable;
    const SLPHandle mValue;
    SLPError mError;
    std::shared_ptr<Handle> mHandle;
    std::shared_ptr<Call> mCall;
  };

  /// SLP_MEMORY_ALLOC_FAILED beyond limits::kMaxHandles, SLP_NETWORK_INIT_FAILED after closeAll; `value` is null then.
  SLPError open(std::string language, SLPHandle& value);
  /// Cancels the call under way on it. No callback begins once this has returned; one that is running is waited for,
  /// but not for long.
  void close(SLPHandle value);
  /// Closes every handle, and opens no more; waits for nothing.
  void closeAll();

 private:
  struct Entry {
    std::shared_ptr<Handle> handle;
    std::shared_ptr<Call> call;  ///< while one is under way
  };

  std::mutex mMutex;
  bool mClosed = false;
  std::uintptr_t mLast = 0;
  std::unordered_map<std::uintptr_t, Entry> mEntries;
};

}  // namespace slp::api
