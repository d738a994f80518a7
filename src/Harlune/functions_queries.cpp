/// Functions from ids to a structure, a list or a number.
#include "functions.h"
#include "functions_tables.h"
#include "velnor_nat_NativeFunctions.h"

namespace {

/// An information function: how large its structure is, and a call of it.
struct Information {
  CK_ULONG size;
  CK_RV (*fill)(jlong module, CK_ULONG id, CK_MECHANISM_TYPE mechanism, CK_VOID_PTR structure);
};

// The arguments that the structure comes behind, and its type, by the type of the function.
template <typename Structure>
Structure structureOf(CK_RV (*)(Structure*));
template <typename Structure>
Structure structureOf(CK_RV (*)(CK_ULONG, Structure*));
template <typename Structure>
Structure structureOf(CK_RV (*)(CK_ULONG, CK_MECHANISM_TYPE, Structure*));

template <typename Entry, auto member>
constexpr Information information() {
  using Structure = decltype(structureOf(Entry()));
  return {sizeof(Structure), [](jlong module, CK_ULONG id, CK_MECHANISM_TYPE mechanism, CK_VOID_PTR structure) {
            return callOnly(module, member, [&](auto fill) {
              const auto filled = static_cast<Structure*>(structure);
              if constexpr (std::is_invocable_v<Entry, Structure*>) {
                return fill(filled);
              } else if constexpr (std::is_invocable_v<Entry, CK_ULONG, Structure*>) {
                return fill(id, filled);
              } else {
                return fill(id, mechanism, filled);
              }
            });
          }};
}

#define INFORMATION(name) information<CK_##name, &CK_FUNCTION_LIST_3_0::name>(),
constexpr Information informationFunctions[] = {INFORMATION_FUNCTIONS(INFORMATION)};
#undef INFORMATION

using List = CK_RV (*)(jlong module, CK_ULONG id, CK_ULONG_PTR list, CK_ULONG_PTR pulCount);

template <typename Id, auto member>
CK_RV list(jlong module, CK_ULONG id, CK_ULONG_PTR list, CK_ULONG_PTR pulCount) {
  return callOnly(module, member, [&](auto fill) { return fill(static_cast<Id>(id), list, pulCount); });
}

template <typename Id, typename... Rest>
Id firstArgument(CK_RV (*)(Id, Rest...));

#define LIST(name) list<decltype(firstArgument(CK_##name())), &CK_FUNCTION_LIST_3_0::name>,
constexpr List listFunctions[] = {LIST_FUNCTIONS(LIST)};
#undef LIST

}  // namespace

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_information(JNIEnv* env, jclass, jlong module, jint function,
                                                                   jlong id, jlong mechanism, jbyteArray structure) {
  if (function < 0 || function >= static_cast<jint>(std::size(informationFunctions))) {
    return answer(CKR_FUNCTION_NOT_SUPPORTED);
  }
  const Information& information = informationFunctions[function];
  if (structure == nullptr || widen(env->GetArrayLength(structure)) != information.size) {
    return answer(CKR_ARGUMENTS_BAD);
  }
  return answer(withZeroes<Content::Open>(information.size, [&](CK_BYTE_PTR bytes) {
    const CK_RV Rv = information.fill(module, handle(id), handle(mechanism), bytes);
    if (Rv == CKR_OK) {
      env->SetByteArrayRegion(structure, 0, narrow(information.size), reinterpret_cast<const jbyte*>(bytes));
    }
    return Rv;
  }));
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_list(JNIEnv* env, jclass, jlong module, jint function, jlong id,
                                                             jlongArray elements) {
  if (function < 0 || function >= static_cast<jint>(std::size(listFunctions))) {
    return failure(CKR_FUNCTION_NOT_SUPPORTED);
  }
  Reported reported = {};
  const CK_RV Rv = withNumbers(env, elements, reported, [&](CK_ULONG_PTR numbers, CK_ULONG_PTR pulCount) {
    return listFunctions[function](module, handle(id), numbers, pulCount);
  });
  return lengthOrFailure(Rv, reported);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_waitForSlotEvent(JNIEnv* env, jclass, jlong module, jlong flags,
                                                                        jlongArray slot) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_WaitForSlotEvent, [&](auto C_WaitForSlotEvent) {
    return withResults<1>(env, slot,
                          [&](CK_SLOT_ID_PTR pSlot) { return C_WaitForSlotEvent(handle(flags), pSlot, nullptr); });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_objectSize(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                                  jlong hObject, jlongArray size) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_GetObjectSize, [&](auto C_GetObjectSize) {
    return withResults<1>(
        env, size, [&](CK_ULONG_PTR pulSize) { return C_GetObjectSize(handle(hSession), handle(hObject), pulSize); });
  }));
}
