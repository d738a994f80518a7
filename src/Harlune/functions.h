/// What the natives of `velnor.nat.NativeFunctions` share: modules as arguments, answers as values, and bytes and
/// structures on their way between Java and a module.
///
/// A native reads: find the entry, convert, call, convert back. Every step hands on a `CK_RV`, and the native turns the
/// last one into a value. Nothing is looked up in Java and nothing is thrown to it, so nothing can fail on the way to
/// telling a failure.
///
///   return answer(call(module, bytesFunctions, function, [&](auto entry) {
///     return withBytes(env, in, off, len, [&](Bytes input) { return entry(hSession, input.bytes, input.length); });
///   }));
#pragma once

#include "harlune.h"
#include "memory.h"

#include <algorithm>
#include <bit>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <iterator>

// ---------------------------------------------------------------------------------------------------------------------
// Modules
// ---------------------------------------------------------------------------------------------------------------------

/// A module that was loaded. It is never unloaded, so a record, once made, stays as it is.
struct Module {
  void* hModule;
  const CK_FUNCTION_LIST* list;
  std::size_t listSize;                  ///< how much of `list` there is: lists of version 2.00 end earlier
  const CK_FUNCTION_LIST_3_0* list_3_0;  ///< null for a module without the interface of version 3.0
  C_SetCallBack_t setCallBack;           ///< null outside of the family that asks for the signer PIN
  bool isSecondAuthenticationRequired;
  char path[sizeof sLibFullPath];  ///< empty when it is not known
};

/// The module with an id, or null.
const Module* findModule(jlong id);

/// An entry of a module, or null when the module has none. `List` is the version that brought it.
template <typename Entry, typename List>
Entry findEntry(const Module& module, Entry List::*member) {
  // A pointer to a data member is its offset, which tells whether a list is long enough to have it.
  const auto offset = static_cast<std::size_t>(std::bit_cast<std::ptrdiff_t>(member));
  const auto* list = reinterpret_cast<const char*>(module.list);
  if (offset >= sizeof(CK_FUNCTION_LIST)) {
    list = reinterpret_cast<const char*>(module.list_3_0);
  } else if (offset + sizeof(Entry) > module.listSize) {
    list = nullptr;
  }
  Entry entry = nullptr;
  if (list != nullptr) {
    std::memcpy(&entry, list + offset, sizeof entry);
  }
  return entry;
}

/// Calls into a module, which must not let an exception out: Java has no frames that it could pass.
template <typename Call>
CK_RV guarded(Call&& call) {
  try {
    return call();
  } catch (const abi::__forced_unwind&) {
    throw;  // the end of the thread
  } catch (...) {
    return CKR_GENERAL_ERROR;
  }
}

/// The one function of a shape.
template <typename Entry, typename List, typename Use>
CK_RV callOnly(jlong module, Entry List::*member, Use&& use) {
  const Module* const found = findModule(module);
  if (found == nullptr) {
    return CKR_CRYPTOKI_NOT_INITIALIZED;
  }
  const Entry entry = findEntry(*found, member);
  if (entry == nullptr) {
    return CKR_FUNCTION_NOT_SUPPORTED;
  }
  return use([entry](auto... arguments) { return guarded([&] { return entry(arguments...); }); });
}

/// A function out of the table of its shape.
template <typename Entry, std::size_t N, typename Use>
CK_RV call(jlong module, Entry CK_FUNCTION_LIST_3_0::*const (&functions)[N], jint function, Use&& use) {
  if (function < 0 || function >= static_cast<jint>(N)) {
    return CKR_FUNCTION_NOT_SUPPORTED;
  }
  return callOnly(module, functions[function], use);
}

// ---------------------------------------------------------------------------------------------------------------------
// Answers
// ---------------------------------------------------------------------------------------------------------------------

/// The low 32 bits of an answer. One that has none but is no success must not pass for one.
inline jint answer(CK_RV Rv) {
  const jint low = narrow(Rv);
  return Rv != CKR_OK && low == 0 ? narrow(CKR_GENERAL_ERROR) : low;
}

/// A failure in the place of a length: the complement of the answer and, above it, of the length that is needed.
inline jlong failure(CK_RV Rv, CK_ULONG needed = 0) {
  const CK_ULONG most = INT_MAX;
  return static_cast<jlong>(~(std::min(needed, most) << 32 | static_cast<std::uint32_t>(answer(Rv))));
}

/// Where a module leaves a length or a count, and how much room it was given.
struct Reported {
  CK_ULONG length;
  CK_ULONG room;
};

/// A length, or the failure in its place.
inline jlong lengthOrFailure(CK_RV Rv, const Reported& reported) {
  if (Rv == CKR_OK) {
    return static_cast<jlong>(reported.length);
  }
  return failure(Rv, Rv == CKR_BUFFER_TOO_SMALL && reported.length > reported.room ? reported.length : 0);
}

// ---------------------------------------------------------------------------------------------------------------------
// Memory for the time of a call
// ---------------------------------------------------------------------------------------------------------------------

/// What is taken from the stack at most, for one copy.
inline constexpr CK_ULONG kOnStack = 1024;

/// Whether the memory of a call may hold a secret.
enum class Content { Secret, Open };

/// What the memory of a call begins with.
enum class Fresh { Anything, Zeroes };

/// Runs `use` on `size` bytes, aligned for any type, which are wiped behind it.
template <Content content = Content::Secret, Fresh fresh = Fresh::Anything, typename Use>
CK_RV withMemory(CK_ULONG size, Use&& use) {
  if (size <= kOnStack) {
    alignas(std::max_align_t) CK_BYTE bytes[kOnStack];
    if constexpr (fresh == Fresh::Zeroes) {
      std::memset(bytes, 0, size);
    }
    const CK_RV Rv = use(static_cast<CK_BYTE_PTR>(bytes));
    if constexpr (content == Content::Secret) {
      explicit_bzero(bytes, size);
    }
    return Rv;
  }
  const auto bytes = static_cast<CK_BYTE_PTR>(fresh == Fresh::Zeroes ? std::calloc(size, 1) : std::malloc(size));
  if (bytes == nullptr) {
    return CKR_HOST_MEMORY;
  }
  const CK_RV Rv = use(bytes);
  if constexpr (content == Content::Secret) {
    wipe(bytes, size);
  }
  std::free(bytes);
  return Rv;
}

/// The same for what a module fills: what it claims and has not written must not be what somebody else left there.
template <Content content = Content::Secret, typename Use>
CK_RV withZeroes(CK_ULONG size, Use&& use) {
  return withMemory<content, Fresh::Zeroes>(size, use);
}

// ---------------------------------------------------------------------------------------------------------------------
// Bytes
// ---------------------------------------------------------------------------------------------------------------------

/// Bytes for a module; a null pointer has the length 0.
struct Bytes {
  CK_BYTE_PTR bytes;
  CK_ULONG length;
};

/// Whether a range lies within `size`.
inline bool isWithin(jlong size, jint off, jint len) {
  return off >= 0 && len >= 0 && len <= size - off;
}

/// Runs `use` on a copy of a range that lies within its Java array.
template <typename Use>
CK_RV withCopy(JNIEnv* env, jbyteArray array, jint off, jint len, Use&& use) {
  return withMemory(widen(len), [&](CK_BYTE_PTR bytes) {
    env->GetByteArrayRegion(array, off, len, reinterpret_cast<jbyte*>(bytes));
    return use(Bytes{bytes, widen(len)});
  });
}

/// Runs `use` on a copy of a range of a Java array; a null array is a null pointer.
template <typename Use>
CK_RV withBytes(JNIEnv* env, jbyteArray array, jint off, jint len, Use&& use) {
  if (array == nullptr) {
    return use(Bytes{nullptr, 0});
  }
  return isWithin(env->GetArrayLength(array), off, len) ? withCopy(env, array, off, len, use) : CKR_ARGUMENTS_BAD;
}

/// The same of a whole array.
template <typename Use>
CK_RV withBytes(JNIEnv* env, jbyteArray array, Use&& use) {
  return array == nullptr ? use(Bytes{nullptr, 0}) : withCopy(env, array, 0, env->GetArrayLength(array), use);
}

/// Runs `use` on a range of a direct buffer, where it lies.
template <typename Use>
CK_RV withBytes(JNIEnv* env, jobject buffer, jint off, jint len, Use&& use) {
  if (buffer == nullptr) {
    return use(Bytes{nullptr, 0});
  }
  const auto bytes = static_cast<CK_BYTE_PTR>(env->GetDirectBufferAddress(buffer));
  if (bytes == nullptr || !isWithin(env->GetDirectBufferCapacity(buffer), off, len)) {
    return CKR_ARGUMENTS_BAD;
  }
  return use(Bytes{bytes + off, widen(len)});
}

/// Judges what a module reports of its output: more than it was given room for is no success.
inline CK_RV believed(CK_RV Rv, bool isQuery, const Reported& reported) {
  const CK_ULONG most = isQuery ? static_cast<CK_ULONG>(LONG_MAX) : reported.room;
  return Rv == CKR_OK && reported.length > most ? CKR_GENERAL_ERROR : Rv;
}

/// Runs `use`, which calls a module with a pointer and with the place of a length, without a pointer: it asks for the
/// length.
template <typename Use>
CK_RV withoutRoom(Reported& reported, Use&& use) {
  reported = {0, 0};
  return believed(use(nullptr, &reported.length), true, reported);
}

/// Runs `use` on room for a range that lies within its Java array, and copies what comes out.
template <typename Use>
CK_RV withRoomWithin(JNIEnv* env, jbyteArray array, jint off, jint len, Reported& reported, Use&& use) {
  reported = {widen(len), widen(len)};
  return withZeroes(reported.room, [&](CK_BYTE_PTR bytes) {
    const CK_RV Rv = believed(use(bytes, &reported.length), false, reported);
    if (Rv == CKR_OK) {
      env->SetByteArrayRegion(array, off, narrow(reported.length), reinterpret_cast<const jbyte*>(bytes));
    }
    return Rv;
  });
}

/// Runs `use` on room for a range of a Java array; without an array it asks for the length.
template <typename Use>
CK_RV withRoom(JNIEnv* env, jbyteArray array, jint off, jint len, Reported& reported, Use&& use) {
  if (array == nullptr) {
    return withoutRoom(reported, use);
  }
  return isWithin(env->GetArrayLength(array), off, len) ? withRoomWithin(env, array, off, len, reported, use)
                                                        : CKR_ARGUMENTS_BAD;
}

/// The same of a whole array.
template <typename Use>
CK_RV withRoom(JNIEnv* env, jbyteArray array, Reported& reported, Use&& use) {
  return array == nullptr ? withoutRoom(reported, use)
                          : withRoomWithin(env, array, 0, env->GetArrayLength(array), reported, use);
}

/// The same on a direct buffer, where it lies.
template <typename Use>
CK_RV withRoom(JNIEnv* env, jobject buffer, jint off, jint len, Reported& reported, Use&& use) {
  if (buffer == nullptr) {
    return withoutRoom(reported, use);
  }
  return withBytes(env, buffer, off, len, [&](Bytes room) {
    reported = {room.length, room.length};
    return believed(use(room.bytes, &reported.length), false, reported);
  });
}

/// The same on a Java array of numbers or handles, all of it.
template <typename Use>
CK_RV withNumbers(JNIEnv* env, jlongArray array, Reported& reported, Use&& use) {
  if (array == nullptr) {
    return withoutRoom(reported, use);
  }
  const CK_ULONG room = widen(env->GetArrayLength(array));
  reported = {room, room};
  return withZeroes<Content::Open>(room * sizeof(CK_ULONG), [&](CK_BYTE_PTR bytes) {
    const auto numbers = reinterpret_cast<CK_ULONG_PTR>(bytes);
    const CK_RV Rv = believed(use(numbers, &reported.length), false, reported);
    if (Rv == CKR_OK) {
      env->SetLongArrayRegion(array, 0, narrow(reported.length), reinterpret_cast<const jlong*>(numbers));
    }
    return Rv;
  });
}

/// Runs `use` on N numbers of zero that a module fills, and tells them to Java after a success. The array is looked at
/// before, so that no handle is lost.
template <std::size_t N, typename Use>
CK_RV withResults(JNIEnv* env, jlongArray results, Use&& use) {
  if (results == nullptr || env->GetArrayLength(results) < static_cast<jsize>(N)) {
    return CKR_ARGUMENTS_BAD;
  }
  CK_ULONG numbers[N] = {};
  const CK_RV Rv = use(numbers);
  if (Rv == CKR_OK) {
    env->SetLongArrayRegion(results, 0, N, reinterpret_cast<const jlong*>(numbers));
  }
  return Rv;
}

// ---------------------------------------------------------------------------------------------------------------------
// Structures, in the form that velnor.nat.Structure describes
// ---------------------------------------------------------------------------------------------------------------------

/// A structure in memory: the block that begins with it, with addresses for pointers.
struct Block {
  CK_BYTE_PTR bytes;
  CK_ULONG size;
  CK_ULONG length;             ///< of the structure at its beginning
  const std::int32_t* places;  ///< of the pointers
  CK_ULONG pointers;
  bool comesBack;
};

/// How many bytes of a Java array stand before the block.
inline constexpr CK_ULONG kStructureHead = 16;

/// What may stand behind a structure in its memory.
enum class Behind { Nothing, Anything };

/// Makes a block of `size` bytes that Java laid out, and addresses of its pointers; false when they are not whole, or a
/// pointer leads out of the block.
bool openBlock(CK_BYTE_PTR bytes, CK_ULONG size, Behind behind, Block& block);

/// Whether every attribute of a template lies within its block, so that a module can be given it.
bool isTemplate(const Block& block);

/// Makes offsets of the pointers again; one that does not lead into the block any more becomes -1. The places lie where
/// a module writes that does not keep to its room, so they are looked at anew.
void closeBlock(const Block& block);

/// Runs `use` on a copy of a structure and copies it back if Java asks for that; null is a null pointer.
template <typename Use>
CK_RV withBlock(JNIEnv* env, jbyteArray structure, bool (*isGood)(const Block&), Use&& use) {
  if (structure == nullptr) {
    return use(Bytes{nullptr, 0});
  }
  const jsize size = env->GetArrayLength(structure);
  return withMemory(widen(size), [&](CK_BYTE_PTR bytes) {
    env->GetByteArrayRegion(structure, 0, size, reinterpret_cast<jbyte*>(bytes));
    Block block = {};
    if (!openBlock(bytes, widen(size), Behind::Nothing, block) || (isGood != nullptr && !isGood(block))) {
      return CKR_ARGUMENTS_BAD;
    }
    const CK_RV Rv = use(Bytes{block.bytes, block.length});
    if (block.comesBack) {
      closeBlock(block);
      env->SetByteArrayRegion(structure, kStructureHead, narrow(block.size),
                              reinterpret_cast<const jbyte*>(block.bytes));
    }
    return Rv;
  });
}

/// Runs `use` on a structure of any kind.
template <typename Use>
CK_RV withStructure(JNIEnv* env, jbyteArray structure, Use&& use) {
  return withBlock(env, structure, nullptr, use);
}

/// The same at the beginning of a direct buffer, where it stays as the module leaves it, addresses and all.
template <typename Use>
CK_RV withStructure(JNIEnv* env, jobject buffer, Use&& use) {
  if (buffer == nullptr) {
    return use(Bytes{nullptr, 0});
  }
  const auto bytes = static_cast<CK_BYTE_PTR>(env->GetDirectBufferAddress(buffer));
  const jlong capacity = env->GetDirectBufferCapacity(buffer);
  Block block = {};
  // Java chooses where a direct buffer begins.
  if (bytes == nullptr || capacity < 0 || std::bit_cast<std::uintptr_t>(bytes) % alignof(std::max_align_t) != 0 ||
      !openBlock(bytes, static_cast<CK_ULONG>(capacity), Behind::Anything, block)) {
    return CKR_ARGUMENTS_BAD;
  }
  return use(Bytes{block.bytes, block.length});
}

/// Runs `use` on a template and the number of its attributes.
template <typename Use>
CK_RV withTemplate(JNIEnv* env, jbyteArray attributes, Use&& use) {
  return withBlock(env, attributes, isTemplate, [&](Bytes entries) {
    return use(reinterpret_cast<CK_ATTRIBUTE_PTR>(entries.bytes), entries.length / sizeof(CK_ATTRIBUTE));
  });
}

/// Runs `use` on a mechanism, whose parameter is an array or, if a module may look at it later, a direct buffer.
template <typename Parameter, typename Use>
CK_RV withMechanism(JNIEnv* env, jlong type, Parameter parameter, Use&& use) {
  return withStructure(env, parameter, [&](Bytes structure) {
    CK_MECHANISM mechanism = {static_cast<CK_ULONG>(type), structure.bytes, structure.length};
    return use(&mechanism);
  });
}
