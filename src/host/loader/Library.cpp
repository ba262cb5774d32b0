#include "host/loader/Library.h"

#include <dlfcn.h>
#include <utility>

namespace host {

Result<Library> Library::open(const std::string& file) {
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle != nullptr) return Library(handle);
  const char* error = dlerror();
  return Failure{error != nullptr ? error : "unknown error"};
}

bool Library::isLoaded(const std::string& file) {
  void* handle = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (handle == nullptr) return false;
  dlclose(handle);
  return true;
}

Library::~Library() {
  if (mHandle != nullptr) dlclose(mHandle);
}

Library::Library(Library&& other) noexcept : mHandle(std::exchange(other.mHandle, nullptr)) {}

Library& Library::operator=(Library&& other) noexcept {
  std::swap(mHandle, other.mHandle);
  return *this;
}

void* Library::symbol(const char* name) const {
  return dlsym(mHandle, name);
}

}  // namespace host
