#pragma once

#include <string>

#include "host/Result.h"

namespace host {

/// A dynamic library, loaded for as long as this lives.
class Library {
 public:
  /// Loads with every symbol resolved, and keeps the library's symbols to itself.
  static Result<Library> open(const std::string& file);
  /// Whether the process holds the library already.
  static bool isLoaded(const std::string& file);

  ~Library();
  Library(Library&& other) noexcept;
  Library& operator=(Library&& other) noexcept;
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  /// Null when the library does not export it.
  void* symbol(const char* name) const;

 private:
  explicit Library(void* handle) : mHandle(handle) {}

  void* mHandle;
};

}  // namespace host
