/// Objects and their attributes, by templates.
#include "functions.h"
#include "functions_tables.h"
#include "velnor_nat_NativeFunctions.h"

namespace {

#define MEMBER(name) &CK_FUNCTION_LIST_3_0::name,
constexpr CK_C_GetAttributeValue CK_FUNCTION_LIST_3_0::*attributesFunctions[] = {ATTRIBUTES_FUNCTIONS(MEMBER)};
#undef MEMBER

}  // namespace

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_create(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                              jbyteArray attributes, jlongArray object) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_CreateObject, [&](auto C_CreateObject) {
    return withResults<1>(env, object, [&](CK_OBJECT_HANDLE_PTR phObject) {
      return withTemplate(env, attributes, [&](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
        return C_CreateObject(handle(hSession), pTemplate, ulCount, phObject);
      });
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_copy(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                            jlong hObject, jbyteArray attributes, jlongArray copy) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_CopyObject, [&](auto C_CopyObject) {
    return withResults<1>(env, copy, [&](CK_OBJECT_HANDLE_PTR phNewObject) {
      return withTemplate(env, attributes, [&](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
        return C_CopyObject(handle(hSession), handle(hObject), pTemplate, ulCount, phNewObject);
      });
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_attributes(JNIEnv* env, jclass, jlong module, jint function,
                                                                  jlong hSession, jlong hObject,
                                                                  jbyteArray attributes) {
  return answer(call(module, attributesFunctions, function, [&](auto entry) {
    return withTemplate(env, attributes, [&](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
      return entry(handle(hSession), handle(hObject), pTemplate, ulCount);
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_findInit(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                                jbyteArray attributes) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_FindObjectsInit, [&](auto C_FindObjectsInit) {
    return withTemplate(env, attributes, [&](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
      return C_FindObjectsInit(handle(hSession), pTemplate, ulCount);
    });
  }));
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_find(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                             jlongArray objects) {
  if (objects == nullptr) {
    return failure(CKR_ARGUMENTS_BAD);
  }
  Reported reported = {};
  const CK_RV Rv = callOnly(module, &CK_FUNCTION_LIST_3_0::C_FindObjects, [&](auto C_FindObjects) {
    return withNumbers(env, objects, reported, [&](CK_OBJECT_HANDLE_PTR phObject, CK_ULONG_PTR pulObjectCount) {
      *pulObjectCount = 0;
      return C_FindObjects(handle(hSession), phObject, reported.room, pulObjectCount);
    });
  });
  return lengthOrFailure(Rv, reported);
}
