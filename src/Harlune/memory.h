/// Blocks from the allocator. Everything the library allocates may hold a PIN, a key or a plaintext, so all of it is
/// zeroed when taken and wiped when given back.
///
///   Buffer output = {};                  // before the frame
///   frame(env, name, [&] {
///     resize(output, length);            // raises CKR_HOST_MEMORY
///     ...
///   });
///   release(output.bytes);               // behind the frame, on every path
#pragma once

#include "harlune.h"

/// `size` zeroed bytes (at least one), or null when the allocator refuses.
void* tryAllocate(CK_ULONG size);

/// `count` zeroed elements; raises CKR_HOST_MEMORY when the allocator refuses or the size cannot be expressed.
template <typename T>
T* allocate(CK_ULONG count) {
  CK_ULONG size = 0;
  void* const memory = __builtin_mul_overflow(count, sizeof(T), &size) ? nullptr : tryAllocate(size);
  if (memory == nullptr) {
    raise(CKR_HOST_MEMORY);
  }
  return static_cast<T*>(memory);
}

/// Wipes memory that came from the allocator. Of much of it only what was ever touched is: wiping must not make
/// resident what a module only claimed to need.
void wipe(void* memory, CK_ULONG size);

/// Wipes and frees what came from the allocator; null is fine.
void release(void* memory);

/// A heap buffer for a module's output. A zeroed value owns nothing.
struct Buffer {
  CK_BYTE_PTR bytes;
  CK_ULONG size;
};

/// Gives `buffer` room for `size` bytes; the old contents are not kept. Raises CKR_HOST_MEMORY.
void resize(Buffer& buffer, CK_ULONG size);
