/// Java `velnor.Mechanism` objects become PKCS#11 mechanisms, and their parameters are freed again.
#include "mechanisms.h"

#include "mechanism_parameters.h"
#include "memory.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <memory>

namespace {

constexpr MechanismRow kMechanismRows[] = {
#include "mechanism_rows.inc"
};

/// What the steps have found out for one register.
struct Value {
  jfieldID field;
  jobject object;
  jint number;
};

/// One conversion under way.
struct Conversion {
  JNIEnv* env;
  jclass parameterClass;  ///< the first class found
  jclass currentClass;
  Value values[kRegisters];
};

[[noreturn]] void fail(JNIEnv* env, const Failure& failure) {
  if (failure.reported != nullptr) {
    throwPkcs11Exception(env, "Mechanism2CKMechanism", failure.reported);
  }
  raise(failure.raised);
}

template <typename T>
T requireStep(JNIEnv* env, T result, const Failure& failure) {
  if (result == nullptr) {
    fail(env, failure);
  }
  return result;
}

void run(Conversion& conversion, const Step& step) {
  JNIEnv* const env = conversion.env;
  Value& value = conversion.values[step.place];
  const jobject owner = conversion.values[step.owner].object;
  switch (step.action) {
  case Step::Action::FindClass:
    conversion.currentClass = requireStep(env, env->FindClass(step.name), step.failure);
    if (conversion.parameterClass == nullptr) {
      conversion.parameterClass = conversion.currentClass;
    }
    break;
  case Step::Action::RequireInstance:
    if (env->IsInstanceOf(value.object, conversion.currentClass) == JNI_FALSE) {
      fail(env, step.failure);
    }
    break;
  case Step::Action::FindField:
    value.field = requireStep(env, env->GetFieldID(conversion.currentClass, step.name, step.signature), step.failure);
    break;
  case Step::Action::ReadObject:
    value.object = requireStep(env, env->GetObjectField(owner, value.field), step.failure);
    break;
  case Step::Action::ReadNullable:
    value.object = env->GetObjectField(owner, value.field);
    break;
  case Step::Action::ReadInt:
    value.number = env->GetIntField(owner, value.field);
    break;
  case Step::Action::ReadByte:
    value.number = static_cast<jint>(env->GetByteField(owner, value.field));
    break;
  case Step::Action::CallBooleanValue: {
    const jmethodID method =
        requireStep(env, env->GetMethodID(conversion.currentClass, step.name, step.signature), step.failure);
    value.number = env->CallBooleanMethod(value.object, method) == JNI_TRUE ? CK_TRUE : CK_FALSE;
    break;
  }
  }
}

template <typename T>
void store(CK_BYTE_PTR block, std::size_t offset, T value) {
  std::memcpy(block + offset, &value, sizeof value);
}

CK_BYTE_PTR loadPointer(const CK_BYTE* block, std::size_t offset) {
  CK_BYTE_PTR pointer = nullptr;
  std::memcpy(&pointer, block + offset, sizeof pointer);
  return pointer;
}

/// Attaches a new zeroed block to a structure at once, so that whatever fails afterwards frees it.
CK_BYTE_PTR attach(CK_BYTE_PTR block, std::size_t offset, CK_ULONG size) {
  const auto attached = allocate<CK_BYTE>(size);
  store(block, offset, attached);
  return attached;
}

void copyBytes(JNIEnv* env, jobject array, jsize count, CK_BYTE_PTR to) {
  env->GetByteArrayRegion(static_cast<jbyteArray>(array), 0, count, reinterpret_cast<jbyte*>(to));
}

void copyChars(JNIEnv* env, jobject array, jsize count, CK_BYTE_PTR to) {
  env->GetCharArrayRegion(static_cast<jcharArray>(array), 0, count, reinterpret_cast<jchar*>(to));
}

CK_ULONG measure(JNIEnv* env, jobject array) {
  return array == nullptr ? 0 : widen(env->GetArrayLength(static_cast<jarray>(array)));
}

void fill(const Conversion& conversion, const Cell& cell, CK_BYTE_PTR block) {
  JNIEnv* const env = conversion.env;
  const Value& value = conversion.values[cell.place];
  switch (cell.content) {
  case Cell::Content::Number:
    store(block, cell.offset, widen(value.number));
    break;
  case Cell::Content::Byte:
    store(block, cell.offset, static_cast<CK_BYTE>(value.number));
    break;
  case Cell::Content::InlineIv:
    copyBytes(env, value.object, kIvLength, block + cell.offset);
    break;
  case Cell::Content::Iv:
    if (value.object != nullptr) {
      copyBytes(env, value.object, kIvLength, attach(block, cell.offset, kIvLength));
    }
    break;
  case Cell::Content::WideIv:
    if (value.object != nullptr) {
      copyChars(env, value.object, kIvLength, attach(block, cell.offset, kIvLength * sizeof(jchar)));
    }
    break;
  case Cell::Content::Bytes:
  case Cell::Content::UnfilledBytes: {
    const CK_ULONG length = measure(env, conversion.values[cell.measured].object);
    store(block, cell.lengthOffset, length);
    if (value.object != nullptr) {
      const CK_BYTE_PTR copy = attach(block, cell.offset, length);
      if (cell.content == Cell::Content::Bytes) {
        copyBytes(env, value.object, Check64BitLen(env, length), copy);
      }
    }
    break;
  }
  case Cell::Content::Chars: {
    const CK_ULONG length = measure(env, value.object);
    store(block, cell.lengthOffset, length);
    copyChars(env, value.object, Check64BitLen(env, length), attach(block, cell.offset, length * sizeof(jchar)));
    break;
  }
  }
}

/// Frees what the pointers of a parameter lead to.
void freePointed(const ParameterKind& kind, CK_BYTE_PTR parameter) {
  const CK_BYTE_PTR inner = kind.inner.size == 0 ? nullptr : loadPointer(parameter, kind.inner.pointerOffset);
  const auto freeOne = [&](const Pointer& pointer) {
    const CK_BYTE_PTR block = pointer.block == Block::Main ? parameter : inner;
    if (block != nullptr) {
      release(loadPointer(block, pointer.offset));
    }
  };
  if (!kind.freed.empty()) {
    std::for_each(kind.freed.begin(), kind.freed.end(), freeOne);
    return;
  }
  for (const Cell& cell : kind.cells) {
    if (isPointer(cell)) {
      freeOne({cell.offset, cell.block});
    }
  }
  release(inner);
}

void freeParameter(const ParameterKind* kind, CK_BYTE_PTR parameter) {
  if (kind != nullptr) {
    freePointed(*kind, parameter);
  }
  release(parameter);
}

CK_BYTE_PTR convert(JNIEnv* env, jobject jParameter, const ParameterKind& kind) {
  Conversion conversion = {env, nullptr, nullptr, {}};
  conversion.values[Parameter].object = requireStep(env, jParameter, kind.missing);
  for (const Step& step : kind.steps) {
    run(conversion, step);
  }
  const auto freeUnfinished = [&kind](CK_BYTE_PTR unfinished) { freeParameter(&kind, unfinished); };
  std::unique_ptr<CK_BYTE, decltype(freeUnfinished)> parameter(allocate<CK_BYTE>(kind.size), freeUnfinished);
  const CK_BYTE_PTR main = parameter.get();
  const CK_BYTE_PTR inner = kind.inner.size == 0 ? main : attach(main, kind.inner.pointerOffset, kind.inner.size);
  for (const Cell& cell : kind.cells) {
    fill(conversion, cell, cell.block == Block::Main ? main : inner);
  }
  if (kind.deletesClass) {
    env->DeleteLocalRef(conversion.parameterClass);
  }
  return parameter.release();
}

}  // namespace

const ParameterKind* findParameterKind(CK_MECHANISM_TYPE mechanism) {
  for (const MechanismRow& candidate : kMechanismRows) {
    if (candidate.mechanism == mechanism) {
      return candidate.kind;
    }
  }
  return nullptr;
}

void Mechanism2CKMechanism(JNIEnv* env, jobject jMechanism, CK_MECHANISM* Mechanism) {
  const jclass MechanismClass = require(env->FindClass("velnor/Mechanism"), "Class 'velnor/Mechanism' not found");
  const jfieldID mechanism = require(env->GetFieldID(MechanismClass, "mechanism", "I"), "Field mechanism not found");
  const jfieldID parameter =
      require(env->GetFieldID(MechanismClass, "parameter", "Ljava/lang/Object;"), "Field parameter not found");
  require(jMechanism, CONVERSION("mechanism is NULL"));
  const jobject jParameter = env->GetObjectField(jMechanism, parameter);
  *Mechanism = {widen(env->GetIntField(jMechanism, mechanism)), nullptr, 0};
  const ParameterKind* const kind = findParameterKind(Mechanism->mechanism);
  if (kind != nullptr) {
    Mechanism->pParameter = convert(env, jParameter, *kind);
    Mechanism->ulParameterLen = kind->size;
  }
}

long FreeMechanism(CK_MECHANISM_PTR pMechanism) {
  if (pMechanism != nullptr && pMechanism->pParameter != nullptr && pMechanism->ulParameterLen != 0) {
    freeParameter(findParameterKind(pMechanism->mechanism), static_cast<CK_BYTE_PTR>(pMechanism->pParameter));
  }
  return 0;
}
