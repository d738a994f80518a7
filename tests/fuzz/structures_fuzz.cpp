/// Structures of the natives that take modules as arguments: any bytes at all. A definition of their own, spelled out
/// field by field, says which of them are whole; the others must reach no module. The module follows every pointer, and
/// writes wherever it may.
///
///   template                     as a template, `parameter`, or `held` for a parameter in a direct buffer
///   i 24 24 1 1                  32-bit numbers: here size, length, pointers, and whether it comes back
///   l 0x11 16 5                  64-bit numbers
///   b 300 abc                    bytes, repeated to a length of 300
///   anything else                these bytes
#include "input.h"
#include "modules.h"
#include "puppet.h"
#include "recording_env.h"
#include "structure_bytes.h"
#include "velnor_nat_NativeFunctions.h"
#include "world.h"

#include <algorithm>
#include <optional>

namespace {

std::string bytesOf(std::string_view text) {
  std::string bytes;
  const auto append = [&bytes](auto value) { bytes.append(reinterpret_cast<const char*>(&value), sizeof value); };
  while (!text.empty()) {
    std::string_view line = fuzz::cut(text, '\n');
    const std::string_view whole = line;
    const std::string_view kind = fuzz::cut(line, ' ');
    if (kind == "i") {
      for (const std::string_view word : fuzz::split(line, ' ')) {
        append(static_cast<std::int32_t>(fuzz::number(word)));
      }
    } else if (kind == "l") {
      for (const std::string_view word : fuzz::split(line, ' ')) {
        append(fuzz::number(word));
      }
    } else if (kind == "b") {
      const std::size_t length = std::min<std::size_t>(fuzz::number(fuzz::cut(line, ' ')), 1 << 14);
      for (std::size_t i = 0; i < length && !line.empty(); ++i) {
        bytes += line[i % line.size()];
      }
    } else {
      bytes += whole;
    }
  }
  return bytes;
}

/// What the bytes mean. `pointers` are offsets by their places.
struct Structure {
  std::uint64_t size = 0;
  std::uint64_t length = 0;
  bool comesBack = false;
  std::vector<std::pair<std::uint64_t, std::uint64_t>> pointers;
};

std::int64_t wordAt(const std::string& bytes, std::size_t at) {
  std::int32_t value = 0;
  std::memcpy(&value, bytes.data() + at, sizeof value);
  return value;
}

/// Nothing for bytes that are no whole structure. In a direct buffer there may be more behind it.
std::optional<Structure> read(const std::string& bytes, bool isHeld) {
  constexpr std::int64_t kHead = 16;
  const auto total = static_cast<std::int64_t>(bytes.size());
  if (total < kHead) {
    return std::nullopt;
  }
  const std::int64_t size = wordAt(bytes, 0);
  const std::int64_t length = wordAt(bytes, 4);
  const std::int64_t count = wordAt(bytes, 8);
  const std::int64_t behind = total - (kHead + size + 4 * count);
  if (size < 0 || length < 0 || count < 0 || length > size || size % 4 != 0 || behind < 0 || (behind > 0 && !isHeld)) {
    return std::nullopt;
  }
  Structure structure;
  structure.size = static_cast<std::uint64_t>(size);
  structure.length = static_cast<std::uint64_t>(length);
  structure.comesBack = wordAt(bytes, 12) != 0;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::int64_t place = wordAt(bytes, static_cast<std::size_t>(kHead + size + 4 * i));
    if (place < 0 || place % 8 != 0 || place + 8 > size) {
      return std::nullopt;
    }
    const std::uint64_t target = StructureBytes::number(bytes, static_cast<std::size_t>(place));
    if (target > structure.size) {
      return std::nullopt;
    }
    structure.pointers.emplace_back(static_cast<std::uint64_t>(place), target);
  }
  std::sort(structure.pointers.begin(), structure.pointers.end());
  for (std::size_t i = 1; i < structure.pointers.size(); ++i) {
    if (structure.pointers[i].first == structure.pointers[i - 1].first) {
      return std::nullopt;
    }
  }
  return structure;
}

/// Whether every value lies within the block.
bool isTemplate(const Structure& structure, const std::string& bytes) {
  if (structure.length % StructureBytes::kAttribute != 0) {
    return false;
  }
  const auto pointerAt = [&structure](std::uint64_t place) -> const std::uint64_t* {
    for (const auto& [at, target] : structure.pointers) {
      if (at == place) {
        return &target;
      }
    }
    return nullptr;
  };
  for (std::uint64_t at = 0; at < structure.length; at += StructureBytes::kAttribute) {
    const std::uint64_t* const value = pointerAt(at + 8);
    if (value == nullptr) {
      // A number that happens to be an address of the block is beyond a fuzzer's luck.
      if (StructureBytes::number(bytes, at + 8) != 0) {
        return false;
      }
    } else if (pointerAt(at + 16) != nullptr || StructureBytes::number(bytes, at + 16) > structure.size - *value) {
      return false;
    }
  }
  return true;
}

// --- The module ------------------------------------------------------------------------------------------------------

const Structure* expected = nullptr;
const std::string* given = nullptr;
const char* heldAt = nullptr;
bool called = false;

/// Reads all of the block, follows every pointer, and checks that it leads to where it should.
void walk(const void* begin, CK_ULONG length) {
  called = true;
  const auto* const block = static_cast<const unsigned char*>(begin);
  if (length != expected->length) {
    fuzz::found("the structure has another length");
  }
  volatile unsigned sum = 0;
  for (std::uint64_t i = 0; i < expected->size; ++i) {
    sum = sum + block[i];
  }
  std::string image(reinterpret_cast<const char*>(block), expected->size);
  for (const auto& [place, target] : expected->pointers) {
    const unsigned char* pointer = nullptr;
    std::memcpy(&pointer, block + place, sizeof pointer);
    if (pointer != block + target) {
      fuzz::found("a pointer leads elsewhere");
    }
    std::memcpy(image.data() + place, &target, sizeof target);
  }
  if (image != given->substr(StructureBytes::kHead, expected->size)) {
    fuzz::found("the block differs from what Java gave");
  }
}

CK_RV takeTemplate(CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
  walk(pTemplate, ulCount * sizeof(CK_ATTRIBUTE));
  for (CK_ULONG i = 0; i < ulCount; ++i) {
    if (pTemplate[i].pValue != nullptr) {
      std::memset(pTemplate[i].pValue, 'W', pTemplate[i].ulValueLen);
    }
    // What it wrote may have been the template itself, which is where it stops.
    if (std::any_of(expected->pointers.begin(), expected->pointers.end(),
                    [](const auto& pointer) { return pointer.second < expected->length; })) {
      return CKR_ATTRIBUTE_SENSITIVE;
    }
    pTemplate[i].ulValueLen = CK_UNAVAILABLE_INFORMATION;
    pTemplate[i].pValue = i % 2 == 0 ? pTemplate[i].pValue : nullptr;
  }
  return CKR_ATTRIBUTE_SENSITIVE;
}

CK_RV walkAndWrite(const CK_MECHANISM* pMechanism) {
  walk(pMechanism->pParameter, pMechanism->ulParameterLen);
  std::memset(pMechanism->pParameter, 'W', expected->size);
  return CKR_OK;
}

CK_RV takeMechanism(CK_SESSION_HANDLE, CK_MECHANISM_PTR pMechanism, CK_ATTRIBUTE_PTR, CK_ULONG, CK_OBJECT_HANDLE_PTR) {
  return walkAndWrite(pMechanism);
}

CK_RV takeHeldMechanism(CK_SESSION_HANDLE, CK_MECHANISM_PTR pMechanism, CK_OBJECT_HANDLE) {
  if (pMechanism->pParameter != heldAt + StructureBytes::kHead) {
    fuzz::found("the structure does not lie where Java has it");
  }
  return walkAndWrite(pMechanism);
}

jlong moduleId(jvm::RecordingEnv& env) {
  static const jlong id = [&env] {
    static puppet::Module module(modules::kPuppet);
    static CK_FUNCTION_LIST list = {};
    list.version = {2, 40};
    list.C_GetAttributeValue = takeTemplate;
    list.C_GenerateKey = takeMechanism;
    list.C_EncryptInit = takeHeldMechanism;
    module.list(list);
    return Java_velnor_nat_NativeFunctions_load(env.jni(), nullptr, env.bytes(modules::kPuppet), nullptr);
  }();
  return id;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const std::string_view kind = fuzz::cut(rest, '\n');
  const std::string bytes = bytesOf(rest);
  const bool isHeld = kind == "held";
  const std::optional<Structure> structure = read(bytes, isHeld);
  jvm::RecordingEnv env;
  const jbyteArray array = env.bytes("structure", bytes);
  const jobject buffer = env.directBuffer("held", bytes);
  const jlong id = moduleId(env);
  expected = structure ? &*structure : nullptr;
  given = &bytes;
  called = false;
  bool isWhole = structure.has_value();
  jint answer = 0;
  if (isHeld) {
    heldAt = static_cast<const char*>(env.jni()->GetDirectBufferAddress(buffer));
    answer = Java_velnor_nat_NativeFunctions_keyedInit(env.jni(), nullptr, id, 0, 1, 1, buffer, 1);
  } else if (kind == "parameter") {
    answer = Java_velnor_nat_NativeFunctions_generateKey(env.jni(), nullptr, id, 1, 1, array, nullptr,
                                                         env.longs("key", {0}));
  } else {
    isWhole = isWhole && isTemplate(*structure, bytes);
    answer = Java_velnor_nat_NativeFunctions_attributes(env.jni(), nullptr, id, 0, 1, 1, array);
  }
  if (called != (answer != static_cast<jint>(CKR_ARGUMENTS_BAD))) {
    fuzz::found("the answer is not the module's");
  }
  if (called != isWhole) {
    fuzz::found(called ? "the module was given what is not whole" : "what is whole was refused");
  }
  const std::string after = isHeld ? env.bytesOf(buffer) : env.bytesOf(array);
  const std::size_t end = StructureBytes::kHead + (structure ? structure->size : 0);
  const bool comesBack = called && (structure->comesBack || isHeld);
  // One that is refused may have addresses already where it lies.
  if (after.size() != bytes.size() || (!comesBack && !isHeld && after != bytes) ||
      (comesBack && (after.compare(0, StructureBytes::kHead, bytes, 0, StructureBytes::kHead) != 0 ||
                     after.compare(end, std::string::npos, bytes, end, std::string::npos) != 0))) {
    fuzz::found("what did not come back has changed");
  }
  if (!env.thrown().empty() || env.loans.made() != 0) {
    fuzz::found("the JVM was asked for more than regions");
  }
  return 0;
}
