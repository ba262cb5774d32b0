#pragma once

#include <cstddef>
#include <string>

/// What the API hands out for SLPFree: one block of malloc() each, so that SLPFree is free(), with nothing to look up.
namespace slp::api {

/// Throws std::bad_alloc.
void* allocate(std::size_t size);
char* copyOf(const std::string& text);

}  // namespace slp::api
