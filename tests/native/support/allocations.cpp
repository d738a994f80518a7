#include "allocations.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <link.h>
#include <mutex>

// The allocator of glibc under the names that nobody replaces.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void __libc_free(void* block);
}

namespace {

struct Block {
  unsigned char* bytes;
  std::size_t size;
  bool freed;
  bool freedTwice;
};

// Plain storage: nothing here may allocate while an allocation is being served.
constexpr std::size_t kMostBlocks = 1 << 18;
constexpr unsigned char kFreedByte = 0xDB;
Block blocks[kMostBlocks];
std::size_t blockCount = 0;
std::atomic<bool> watching = false;
std::mutex& mutex() {
  static std::mutex instance;
  return instance;
}
unsigned allocations = 0;
unsigned failAt = 0;
AllocationScope::Look look;
thread_local bool looking = false;

struct Range {
  std::uintptr_t from = 0;
  std::uintptr_t to = 0;
} library;

int findLibrary(dl_phdr_info* info, std::size_t, void*) {
  if (std::strstr(info->dlpi_name, "libharlune") == nullptr) {
    return 0;
  }
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr)& segment = info->dlpi_phdr[i];
    if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0) {
      library.from = info->dlpi_addr + segment.p_vaddr;
      library.to = library.from + segment.p_memsz;
    }
  }
  return 1;
}

bool fromLibrary(const void* caller) {
  const auto address = reinterpret_cast<std::uintptr_t>(caller);
  return watching && !looking && address >= library.from && address < library.to;
}

/// Serves an allocation of the library.
void* serve(std::size_t size, bool zeroed) {
  const std::lock_guard<std::mutex> lock(mutex());
  ++allocations;
  if ((failAt != 0 && --failAt == 0) || blockCount == kMostBlocks) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const block = zeroed ? __libc_calloc(1, size) : __libc_malloc(size);
  if (block != nullptr) {
    blocks[blockCount++] = {static_cast<unsigned char*>(block), size, false, false};
  }
  return block;
}

/// The newest block at this address, or null when the scope does not know it. The caller holds the mutex.
Block* known(const void* address) {
  for (std::size_t i = blockCount; i-- > 0;) {
    if (blocks[i].bytes == address) {
      return &blocks[i];
    }
  }
  return nullptr;
}

/// Takes a block back if it is one of the library's, whoever gives it back.
bool takeBack(void* address) {
  if (!watching || looking || address == nullptr) {
    return false;
  }
  const std::lock_guard<std::mutex> lock(mutex());
  Block* const block = known(address);
  if (block == nullptr) {
    return false;
  }
  if (block->freed) {
    block->freedTwice = true;
    return true;
  }
  if (look) {
    looking = true;
    look(block->bytes, block->size);
    looking = false;
  }
  block->freed = true;
  std::memset(block->bytes, kFreedByte, block->size);
  return true;
}

}  // namespace

#define REPLACED extern "C" __attribute__((visibility("default"), noinline))

REPLACED void* malloc(std::size_t size) {
  return fromLibrary(__builtin_return_address(0)) ? serve(size, false) : __libc_malloc(size);
}

REPLACED void* calloc(std::size_t count, std::size_t size) {
  std::size_t whole = 0;
  if (!fromLibrary(__builtin_return_address(0)) || __builtin_mul_overflow(count, size, &whole)) {
    return __libc_calloc(count, size);
  }
  return serve(whole, true);
}

REPLACED void free(void* block) {
  if (!takeBack(block)) {
    __libc_free(block);
  }
}

REPLACED void* realloc(void* old, std::size_t size) {
  std::size_t oldSize = 0;
  bool ours = false;
  if (watching && !looking && old != nullptr) {
    const std::lock_guard<std::mutex> lock(mutex());
    const Block* const block = known(old);
    ours = block != nullptr;
    oldSize = ours ? block->size : 0;
  }
  if (!ours && (old != nullptr || !fromLibrary(__builtin_return_address(0)))) {
    return __libc_realloc(old, size);
  }
  void* const moved = serve(size, false);
  if (moved != nullptr && old != nullptr) {
    std::memcpy(moved, old, std::min(size, oldSize));
    takeBack(old);
  }
  return moved;
}

AllocationScope::AllocationScope() {
  dl_iterate_phdr(findLibrary, nullptr);
  EXPECT_NE(library.from, library.to) << "libharlune.so is not loaded";
  EXPECT_FALSE(watching) << "two scopes at a time";
  blockCount = 0;
  allocations = 0;
  failAt = 0;
  look = nullptr;
  watching = true;
}

AllocationScope::~AllocationScope() {
  watching = false;
  look = nullptr;
  for (std::size_t i = 0; i < blockCount; ++i) {
    const Block& block = blocks[i];
    if (!block.freed) {
      ADD_FAILURE() << "a block of " << block.size << " bytes was never given back";
      continue;  // someone may still hold it
    }
    if (block.freedTwice) {
      ADD_FAILURE() << "a block of " << block.size << " bytes was given back twice";
    } else if (!std::all_of(block.bytes, block.bytes + block.size, [](unsigned char c) { return c == kFreedByte; })) {
      ADD_FAILURE() << "a block of " << block.size << " bytes was written to after it was given back";
    }
    __libc_free(block.bytes);
  }
  blockCount = 0;
}

void AllocationScope::failNth(unsigned n) {
  failAt = n;
}

bool AllocationScope::failureLeft() const {
  return failAt != 0;
}

unsigned AllocationScope::count() const {
  return allocations;
}

unsigned AllocationScope::live() const {
  const std::lock_guard<std::mutex> lock(mutex());
  return static_cast<unsigned>(
      std::count_if(blocks, blocks + blockCount, [](const Block& block) { return !block.freed; }));
}

void AllocationScope::onFree(Look wanted) {
  look = std::move(wanted);
}
