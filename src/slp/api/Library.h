#pragma once

#include <cxxabi.h>
#include <new>

#include "slp/agent/ServiceAgent.h"
#include "slp/api/HandleTable.h"
#include "slp/api/RecentTexts.h"
#include "slp/client/DirectoryAgents.h"
#include "slp/client/KnownResponders.h"
#include "slp/client/UserAgent.h"
#include "slp/config/Properties.h"
#include "slp/include/slp.h"

namespace slp::api {

/// What the handles of the process share. Made at the first call that needs it, gone at exit or when the shared object
/// that holds it is unloaded: calls under way are cancelled then, and the agent's thread is joined. A process that has
/// forked must not use it in the child.
class Library {
 public:
  Library();
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  config::Properties properties;
  client::DirectoryAgents directoryAgents;
  client::KnownResponders responders;
  agent::ServiceAgent serviceAgent;
  client::UserAgent userAgent;
  HandleTable handles;
  RecentTexts propertyTexts;
};

/// Keeps the library in place for one call of the API; false once the library has gone.
class LibraryUse {
 public:
  LibraryUse();
  ~LibraryUse();
  LibraryUse(const LibraryUse&) = delete;
  LibraryUse& operator=(const LibraryUse&) = delete;

  explicit operator bool() const { return mLibrary != nullptr; }
  Library& operator*() const { return *mLibrary; }
  Library* operator->() const { return mLibrary; }

 private:
  Library* mLibrary = nullptr;
};

/// Whether the library has gone, for the few functions that need none of its state.
bool libraryHasGone();

/// Lets no exception out to a caller who may be C, but for the unwinding of a thread that is being cancelled.
template <typename Function>
SLPError guarded(Function&& function) {
  try {
    return function();
  } catch (const std::bad_alloc&) {
    return SLP_MEMORY_ALLOC_FAILED;
  } catch (const abi::__forced_unwind&) {
    throw;
  } catch (...) {
    return SLP_INTERNAL_SYSTEM_ERROR;
  }
}

/// The same for a function that needs the library.
template <typename Function>
SLPError withLibrary(Function&& function) {
  return guarded([&]() -> SLPError {
    const LibraryUse library;
    return library ? function(*library) : SLP_NETWORK_INIT_FAILED;
  });
}

/// The same for a function on a handle, which it has for itself until it returns.
template <typename Function>
SLPError withHandle(SLPHandle handle, Function&& function) {
  return withLibrary([&](Library& library) -> SLPError {
    const HandleTable::Claim claim(library.handles, handle);
    return claim.error() == SLP_OK ? function(library, claim.handle(), claim.call()) : claim.error();
  });
}

}  // namespace slp::api
