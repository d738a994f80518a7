#include "memory.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// From this size on memory is looked at before it is wiped.
constexpr CK_ULONG kLarge = CK_ULONG{1} << 20;

/// Wipes whole pages, those that are in memory one by one. Those that are not have never been touched or have been
/// written to a disk, and are given up.
void wipePages(CK_BYTE_PTR pages, CK_ULONG size, CK_ULONG pageSize) {
  unsigned char isResident[1024];
  const CK_ULONG portion = sizeof isResident * pageSize;
  for (CK_ULONG done = 0; done < size; done += portion) {
    const CK_ULONG length = std::min(portion, size - done);
    if (mincore(pages + done, length, isResident) != 0) {
      std::memset(isResident, 1, sizeof isResident);  // a sandbox may forbid to ask
    }
    for (CK_ULONG page = 0; page * pageSize < length; ++page) {
      if ((isResident[page] & 1U) != 0) {
        explicit_bzero(pages + done + page * pageSize, pageSize);
      }
    }
  }
  madvise(pages, size, MADV_DONTNEED);
}

}  // namespace

void* tryAllocate(CK_ULONG size) {
  return std::calloc(size == 0 ? 1 : size, 1);
}

void wipe(void* memory, CK_ULONG size) {
  const auto bytes = static_cast<CK_BYTE_PTR>(memory);
  if (size < kLarge) {
    explicit_bzero(bytes, size);
    return;
  }
  const auto pageSize = static_cast<CK_ULONG>(sysconf(_SC_PAGESIZE));
  const CK_ULONG before = (pageSize - reinterpret_cast<std::uintptr_t>(bytes) % pageSize) % pageSize;
  const CK_ULONG whole = (size - before) / pageSize * pageSize;
  explicit_bzero(bytes, before);
  wipePages(bytes + before, whole, pageSize);
  explicit_bzero(bytes + before + whole, size - before - whole);
}

void release(void* memory) {
  if (memory != nullptr) {
    wipe(memory, malloc_usable_size(memory));
    std::free(memory);
  }
}

void resize(Buffer& buffer, CK_ULONG size) {
  release(buffer.bytes);
  buffer = {nullptr, 0};
  buffer = {allocate<CK_BYTE>(size), size};
}
