#include "memory.h"

#include <cstdlib>
#include <cstring>
#include <malloc.h>

void* tryAllocate(CK_ULONG size) {
  return std::calloc(size == 0 ? 1 : size, 1);
}

void release(void* memory) {
  if (memory != nullptr) {
    explicit_bzero(memory, malloc_usable_size(memory));
    std::free(memory);
  }
}

void resize(Buffer& buffer, CK_ULONG size) {
  release(buffer.bytes);
  buffer = {nullptr, 0};
  buffer = {allocate<CK_BYTE>(size), size};
}
