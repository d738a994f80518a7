/// Creating, copying, destroying and sizing token objects.
#include "harlune.h"
#include "lookups.h"
#include "templates.h"
#include "velnor_nat_NativeSession.h"

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeSession_J_1CreateObject(JNIEnv* env, jobject jSession,
                                                                      jobjectArray jTemplate) {
  Template pTemplate = {};
  CK_OBJECT_HANDLE hObject = CK_INVALID_HANDLE;
  LogFunction("J_CreateObject - entry", CKR_OK);
  const bool created = frame(env, "J_CreateObject", [&] {
    Attribute2CKAttribute(env, jTemplate, pTemplate);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    callModule(&CK_FUNCTION_LIST::C_CreateObject, hSession, pTemplate.entries, pTemplate.count, &hObject);
  });
  freeTemplate(pTemplate);
  LogFunction("J_CreateObject - exit", CKR_OK);
  return handleOrNone(created, hObject);
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeSession_J_1CopyObject(JNIEnv* env, jobject jSession, jlong jOldObject,
                                                                    jobjectArray jTemplate) {
  Template pTemplate = {};
  CK_OBJECT_HANDLE hNewObject = CK_INVALID_HANDLE;
  const bool copied = frame(env, "J_CopyObject", [&] {
    Attribute2CKAttribute(env, jTemplate, pTemplate);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    callModule(&CK_FUNCTION_LIST::C_CopyObject, hSession, handle(jOldObject), pTemplate.entries, pTemplate.count,
               &hNewObject);
  });
  freeTemplate(pTemplate);
  return handleOrNone(copied, hNewObject);
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1DestroyObject(JNIEnv* env, jobject jSession, jlong jObject) {
  LogFunction("J_DestroyObject - entry", CKR_OK);
  frame(env, "J_DestroyObject",
        [&] { callModule(&CK_FUNCTION_LIST::C_DestroyObject, getSessionHandle(env, jSession), handle(jObject)); });
  LogFunction("J_DestroyObject - exit", CKR_OK);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1GetObjectSize(JNIEnv* env, jobject jSession, jlong jObject) {
  CK_ULONG ObjectSize = 0;
  LogFunction("J_GetObjectSize - entry", CKR_OK);
  const bool sized = frame(env, "J_GetObjectSize", [&] {
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    callModule(&CK_FUNCTION_LIST::C_GetObjectSize, hSession, handle(jObject), &ObjectSize);
  });
  const jint jObjectSize = Check64BitLen(env, sized ? ObjectSize : 0);
  LogFunction("J_GetObjectSize - exit", CKR_OK);
  return jObjectSize;
}
