#include "mechanism_kinds.h"

#include "marshalling_test.h"

#include <cstring>
#include <iterator>
#include <stdexcept>

const char* const kFrame = R"(
  FindClass velnor/Mechanism
  GetFieldID velnor/Mechanism mechanism I
  GetFieldID velnor/Mechanism parameter Ljava/lang/Object;
  GetObjectField mechanism parameter
  GetIntField mechanism mechanism
)";

std::vector<const ParameterKind*> everyKind() {
  std::vector<const ParameterKind*> kinds;
  for (const std::vector<ParameterKind>* part : {&kCipherKinds, &kDerivationKinds}) {
    for (const ParameterKind& kind : *part) {
      kinds.push_back(&kind);
    }
  }
  return kinds;
}

const ParameterKind& kindOf(CK_MECHANISM_TYPE mechanism) {
  for (const ParameterKind* kind : everyKind()) {
    for (const CK_MECHANISM_TYPE code : kind->codes) {
      if (code == mechanism) {
        return *kind;
      }
    }
  }
  throw std::logic_error("no kind for " + hex(mechanism));
}

std::vector<Step> stepsOf(const ParameterKind& kind) {
  const std::string otherwise = "else ";
  const std::string reporting = "reporting ";
  std::vector<Step> steps;
  for (const std::string& line : jvm::expectedLines(kind.script)) {
    if (line.rfind(otherwise, 0) == 0) {
      steps.back().raised = line.substr(otherwise.size());
    } else if (line.rfind(reporting, 0) == 0) {
      steps.back().reported = line.substr(reporting.size());
    } else {
      steps.push_back({line, "", ""});
    }
  }
  return steps;
}

namespace {

const unsigned char* pointerAt(const void* structure, std::size_t offset) {
  const unsigned char* pointer = nullptr;
  std::memcpy(&pointer, static_cast<const unsigned char*>(structure) + offset, sizeof pointer);
  return pointer;
}

std::size_t widthOf(const Cell& cell) {
  return cell.kind == Cell::Kind::Bytes ? cell.bytes.size() : 8;
}

/// A cell as text: as it lies in the structure, or as it must lie there when there is no structure.
std::string shownCell(const Cell& cell, const void* structure) {
  const std::string name = std::to_string(cell.offset);
  switch (cell.kind) {
  case Cell::Kind::Number: {
    std::uint64_t value = cell.number;
    if (structure != nullptr) {
      std::memcpy(&value, static_cast<const unsigned char*>(structure) + cell.offset, sizeof value);
    }
    return name + ": " + hex(value) + "\n";
  }
  case Cell::Kind::Bytes: {
    const void* const from =
        structure == nullptr ? cell.bytes.data() : static_cast<const char*>(structure) + cell.offset;
    return name + ": " + bytesAt(from, cell.bytes.size()) + "\n";
  }
  case Cell::Kind::Null:
    return name + (structure == nullptr || pointerAt(structure, cell.offset) == nullptr ? " -> null\n" : " -> ?\n");
  case Cell::Kind::Pointer:
  case Cell::Kind::Block:
    break;
  }
  const void* target = cell.bytes.data();
  if (structure != nullptr) {
    target = pointerAt(structure, cell.offset);
  }
  if (target == nullptr) {
    return name + " -> null\n";
  }
  if (cell.kind == Cell::Kind::Pointer) {
    return name + " -> " + bytesAt(target, cell.bytes.size()) + "\n";
  }
  return name + " -> {\n" +
         (structure == nullptr ? shown(cell.cells) : shown(cell.cells, target, static_cast<std::size_t>(cell.number))) +
         "}\n";
}

}  // namespace

std::string shown(const std::vector<Cell>& layout, const void* structure, std::size_t size) {
  if (structure == nullptr) {
    return "null\n";
  }
  std::string result;
  std::vector<bool> covered(size);
  for (const Cell& cell : layout) {
    result += shownCell(cell, structure);
    for (std::size_t i = 0; i < widthOf(cell); ++i) {
      covered.at(cell.offset + i) = true;
    }
  }
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned char stray = static_cast<const unsigned char*>(structure)[i];
    if (!covered[i] && stray != 0) {
      result += "stray " + std::to_string(i) + ": " + hex(stray) + "\n";
    }
  }
  return result;
}

std::string shown(const std::vector<Cell>& layout) {
  std::string result;
  for (const Cell& cell : layout) {
    result += shownCell(cell, nullptr);
  }
  return result;
}

std::vector<const void*> blocksOf(const ParameterKind& kind, const CK_MECHANISM& mechanism) {
  std::vector<const void*> blocks;
  for (const std::vector<std::size_t>& path : kind.freed) {
    const void* block = mechanism.pParameter;
    for (const std::size_t offset : path) {
      block = block == nullptr ? nullptr : pointerAt(block, offset);
    }
    if (block != nullptr) {
      blocks.push_back(block);
    }
  }
  blocks.push_back(mechanism.pParameter);
  return blocks;
}

// --- Ciphers, signatures, key wrapping -------------------------------------------------------------------------------

using namespace std::string_literals;
using jvm::RecordingEnv;

const std::vector<ParameterKind> kCipherKinds = {
    {"Iv",
     {0x122, 0x125, 0x133, 0x136, 0x142, 0x145, 0x302, 0x312, 0x322, 0x325, 0x342, 0x345},
     [](RecordingEnv& env) -> jobject { return env.bytes("parameter", "8 bytes, and no more"); },
     R"(
       GetByteArrayRegion parameter 0 8
     )",
     8,
     {bytes(0, "8 bytes,")},
     {}},

    {"MacGeneral",
     {0x124, 0x135, 0x144, 0x202, 0x212, 0x222, 0x232, 0x242, 0x304, 0x314, 0x324, 0x344, 0x380, 0x381},
     [](RecordingEnv& env) {
       return env.set(env.object("parameter", "velnor/params/MACGENERALParams"), "m_parameter", 10);
     },
     R"(
       FindClass velnor/params/MACGENERALParams
         else Mechanism2CKMechanism - Class 'velnor/params/MACGENERALParams' not found
       GetFieldID velnor/params/MACGENERALParams m_parameter I
         else Mechanism2CKMechanism - m_parameter field not found
       GetIntField parameter m_parameter
     )",
     8,
     {number(0, 10)},
     {}},

    {"Rc2",
     {0x101, 0x103},
     [](RecordingEnv& env) { return env.set(env.object("parameter", "velnor/params/RC2Params"), "parameter", -40); },
     R"(
       FindClass velnor/params/RC2Params
         else Mechanism2CKMechanism - Class 'velnor/params/RC2Params' not found
       GetFieldID velnor/params/RC2Params parameter I
         else Mechanism2CKMechanism - parameter field not found
       GetIntField parameter parameter
       DeleteLocalRef velnor/params/RC2Params
     )",
     8,
     {number(0, 0xFFFFFFFFFFFFFFD8)},
     {}},

    {"Rc2Cbc",
     {0x102, 0x105},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/RC2CBCParams");
       return env.set(env.set(parameter, "m_effectiveBits", -1), "m_iv", env.bytes("12345678, and no more"));
     },
     R"(
       FindClass velnor/params/RC2CBCParams
         else Mechanism2CKMechanism - Class 'velnor/params/RC2CBCParams' not found
       GetFieldID velnor/params/RC2CBCParams m_effectiveBits I
         else Mechanism2CKMechanism - m_effectiveBits field not found
       GetFieldID velnor/params/RC2CBCParams m_iv [B
         else Mechanism2CKMechanism - m_iv field not found
       GetObjectField parameter m_iv
         else Mechanism2CKMechanism - jIv  is NULL
       GetIntField parameter m_effectiveBits
       GetByteArrayRegion parameter.m_iv 0 8
       DeleteLocalRef velnor/params/RC2CBCParams
     )",
     16,
     {number(0, 0xFFFFFFFFFFFFFFFF), bytes(8, "12345678")},
     {}},

    {"Rc2MacGeneral",
     {0x104},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/RC2MACGENERALParams");
       return env.set(env.set(parameter, "m_effectiveBits", 40), "m_macLength", -8);
     },
     R"(
       FindClass velnor/params/RC2MACGENERALParams
         else Mechanism2CKMechanism - Class 'velnor/params/RC2MACGENERALParams' not found
       GetFieldID velnor/params/RC2MACGENERALParams m_effectiveBits I
         else Mechanism2CKMechanism - m_effectiveBits field not found
       GetFieldID velnor/params/RC2MACGENERALParams m_macLength I
         else Mechanism2CKMechanism - m_macLength field not found
       GetIntField parameter m_effectiveBits
       GetIntField parameter m_macLength
       DeleteLocalRef velnor/params/RC2MACGENERALParams
     )",
     16,
     {number(0, 40), number(8, 0xFFFFFFFFFFFFFFF8)},
     {}},

    // The stray apostrophe has always been in this one text; its siblings below have none.
    {"Rc5",
     {0x331, 0x333},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/RC5Params");
       return env.set(env.set(parameter, "m_wordSize", -4), "m_rounds", 12);
     },
     R"(
       FindClass velnor/params/RC5Params
         else Mechanism2CKMechanism - Class 'velnor/params/RC5Params' not found
       GetFieldID velnor/params/RC5Params m_wordSize I
         else Mechanism2CKMechanism - m_wordSize field' not found
       GetFieldID velnor/params/RC5Params m_rounds I
         else Mechanism2CKMechanism - m_rounds field not found
       GetIntField parameter m_wordSize
       GetIntField parameter m_rounds
       DeleteLocalRef velnor/params/RC5Params
     )",
     16,
     {number(0, 0xFFFFFFFFFFFFFFFC), number(8, 12)},
     {}},

    {"Rc5Cbc",
     {0x332, 0x335},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/RC5CBCParams");
       env.set(env.set(parameter, "m_wordSize", 4), "m_rounds", -12);
       return env.set(parameter, "m_iv", env.bytes("iv of any size"));
     },
     R"(
       FindClass velnor/params/RC5CBCParams
         else Mechanism2CKMechanism - Class 'velnor/params/RC5CBCParams' not found
       GetFieldID velnor/params/RC5CBCParams m_wordSize I
         else Mechanism2CKMechanism - m_wordSize field not found
       GetFieldID velnor/params/RC5CBCParams m_rounds I
         else Mechanism2CKMechanism - m_rounds field not found
       GetFieldID velnor/params/RC5CBCParams m_iv [B
         else Mechanism2CKMechanism - m_iv field not found
       GetObjectField parameter m_iv
         else Mechanism2CKMechanism - jIv  is NULL
       GetIntField parameter m_wordSize
       GetIntField parameter m_rounds
       GetArrayLength parameter.m_iv
       GetByteArrayRegion parameter.m_iv 0 14
     )",
     32,
     {number(0, 4), number(8, 0xFFFFFFFFFFFFFFF4), pointer(16, "iv of any size"), number(24, 14)},
     {{16}}},

    {"Rc5MacGeneral",
     {0x334},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/RC5MACGENERALParams");
       return env.set(env.set(env.set(parameter, "m_wordSize", 4), "m_rounds", 12), "m_macLength", -8);
     },
     R"(
       FindClass velnor/params/RC5MACGENERALParams
         else Mechanism2CKMechanism - Class 'velnor/params/RC5MACGENERALParams' not found
       GetFieldID velnor/params/RC5MACGENERALParams m_wordSize I
         else Mechanism2CKMechanism - m_wordSize field not found
       GetFieldID velnor/params/RC5MACGENERALParams m_rounds I
         else Mechanism2CKMechanism - m_rounds field not found
       GetFieldID velnor/params/RC5MACGENERALParams m_macLength I
         else Mechanism2CKMechanism - m_macLength field not found
       GetIntField parameter m_wordSize
       GetIntField parameter m_rounds
       GetIntField parameter m_macLength
     )",
     24,
     {number(0, 4), number(8, 12), number(16, 0xFFFFFFFFFFFFFFF8)},
     {}},

    {"Oaep",
     {0x9},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/OAEPParams");
       env.set(env.set(env.set(parameter, "m_hashAlg", 0x220), "m_mgf", -1), "m_source", 1);
       return env.set(parameter, "m_sourceData", env.bytes("label"));
     },
     R"(
       FindClass velnor/params/OAEPParams
         else Mechanism2CKMechanism - Class 'velnor/params/OAEPParams' not found
       IsInstanceOf parameter velnor/params/OAEPParams
       GetFieldID velnor/params/OAEPParams m_hashAlg I
         else Mechanism2CKMechanism - m_hashAlg field not found
       GetFieldID velnor/params/OAEPParams m_mgf I
         else Mechanism2CKMechanism - m_mgf field not found
       GetFieldID velnor/params/OAEPParams m_source I
         else Mechanism2CKMechanism - m_source field not found
       GetFieldID velnor/params/OAEPParams m_sourceData [B
         else Mechanism2CKMechanism - m_sourceData field not found
       GetObjectField parameter m_sourceData
       GetIntField parameter m_hashAlg
       GetIntField parameter m_mgf
       GetIntField parameter m_source
       GetArrayLength parameter.m_sourceData
       GetByteArrayRegion parameter.m_sourceData 0 5
       DeleteLocalRef velnor/params/OAEPParams
     )",
     40,
     {number(0, 0x220), number(8, 0xFFFFFFFFFFFFFFFF), number(16, 1), pointer(24, "label"), number(32, 5)},
     {{24}}},

    {"KeyWrapSetOaep",
     {0x401},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/KEYWRAPSETOAEPParams");
       return env.set(env.set(parameter, "m_bBC", -2), "m_xData", env.bytes("hash and other data"));
     },
     R"(
       FindClass velnor/params/KEYWRAPSETOAEPParams
         else Mechanism2CKMechanism - Class 'velnor/params/KEYWRAPSETOAEPParams' not found
       GetFieldID velnor/params/KEYWRAPSETOAEPParams m_bBC B
         else Mechanism2CKMechanism - m_bBC field not found
       GetFieldID velnor/params/KEYWRAPSETOAEPParams m_xData [B
         else Mechanism2CKMechanism - m_xData field not found
       GetObjectField parameter m_xData
         else Mechanism2CKMechanism - jXData is NULL
       GetByteField parameter m_bBC
       GetArrayLength parameter.m_xData
       GetByteArrayRegion parameter.m_xData 0 19
     )",
     24,
     {bytes(0, "\xFE"), pointer(8, "hash and other data"), number(16, 19)},
     {{8}}},

    // The stated lengths count chars, the bytes behind them are 16-bit units: modules see, within the length, the first
    // half of the little-endian form.
    {"Pbe",
     {0x3A0, 0x3A1, 0x3A2, 0x3A3, 0x3A4, 0x3A5, 0x3A6, 0x3A7, 0x3A8, 0x3A9, 0x3AA, 0x3AB},
     [](RecordingEnv& env) {
       const jobject parameter = env.object("parameter", "velnor/params/PBEParams");
       env.set(parameter, "m_initVector", env.chars("", u"12345678, and no more"));
       env.set(parameter, "m_password", env.chars("", u"ab"));
       env.set(parameter, "m_salt", env.chars("", u"s\u20AC\u0100"));
       return env.set(parameter, "m_iteration", -1000);
     },
     R"(
       FindClass velnor/params/PBEParams
         else Mechanism2CKMechanism - Class 'velnor/params/PBEParams' not found
       GetFieldID velnor/params/PBEParams m_initVector [C
         else Mechanism2CKMechanism - m_initVector field not found
       GetFieldID velnor/params/PBEParams m_password [C
         else Mechanism2CKMechanism - m_password field not found
       GetFieldID velnor/params/PBEParams m_salt [C
         else Mechanism2CKMechanism - m_salt field not found
       GetFieldID velnor/params/PBEParams m_iteration I
         else Mechanism2CKMechanism - m_iteration field not found
       GetObjectField parameter m_initVector
       GetObjectField parameter m_password
         else Mechanism2CKMechanism - jPassword is NULL
       GetObjectField parameter m_salt
         else Mechanism2CKMechanism - jSalt is NULL
       GetIntField parameter m_iteration
       GetArrayLength parameter.m_password
       GetCharArrayRegion parameter.m_password 0 2
       GetArrayLength parameter.m_salt
       GetCharArrayRegion parameter.m_salt 0 3
       GetCharArrayRegion parameter.m_initVector 0 8
     )",
     48,
     {pointer(0, "1\0002\0003\0004\0005\0006\0007\0008\000"s), pointer(8, "a\0b\0"s), number(16, 2),
      pointer(24, "s\0\xAC\x20\0\x01"s), number(32, 3), number(40, 0xFFFFFFFFFFFFFC18)},
     {{8}, {24}, {0}}},
};
