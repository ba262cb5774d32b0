#include "slp/api/Allocation.h"

#include <cstdlib>
#include <cstring>
#include <new>

namespace slp::api {

void* allocate(std::size_t size) {
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

char* copyOf(const std::string& text) {
  auto* const copy = static_cast<char*>(allocate(text.size() + 1));
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return copy;
}

}  // namespace slp::api
