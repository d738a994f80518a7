/// Wrapping, unwrapping and deriving keys. No method here calls the log hook.
#include "operations.h"
#include "velnor_nat_NativeSession.h"

namespace {

/// Larger than any wrapped key in common use, so that wrapping takes one module call as a rule.
constexpr CK_ULONG kWrappedKeyGuess = 1024;

/// The only way in which a derived key's handle reaches Java: the constructor of an object that is dropped at once.
void announceDerivedKey(JNIEnv* env, jobject jSession, CK_OBJECT_HANDLE hKey) {
  const jclass NativeObjectClass = require(env->FindClass("velnor/nat/NativeObject"), "Class 'Pkcs11Object' not found");
  const jmethodID constructor = require(env->GetMethodID(NativeObjectClass, "<init>", "(Lquadrel/Pkcs11Session;I)V"),
                                        "Pkcs11Object constructor not found");
  require(env->NewObject(NativeObjectClass, constructor, jSession, narrow(hKey)), "Pkcs11Object object is NULL");
}

}  // namespace

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1WrapKey(JNIEnv* env, jobject jSession, jobject jMechanism,
                                                                      jlong jWrappingKey, jlong jKeyToBeWrapped) {
  CK_MECHANISM WrapMechanism = {};
  Buffer pWrappedKey = {};
  jbyteArray jWrappedKey = nullptr;
  frame(env, "J_WrapKey", [&] {
    Mechanism2CKMechanism(env, jMechanism, &WrapMechanism);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    jWrappedKey = growIntoNewArray(env, pWrappedKey, kWrappedKeyGuess, "jWrappedKey is NULL",
                                   [&](CK_BYTE_PTR bytes, CK_ULONG_PTR length) {
                                     return invoke(&CK_FUNCTION_LIST::C_WrapKey, hSession, &WrapMechanism,
                                                   handle(jWrappingKey), handle(jKeyToBeWrapped), bytes, length);
                                   });
  });
  FreeMechanism(&WrapMechanism);
  release(pWrappedKey.bytes);
  return jWrappedKey;
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeSession_J_1UnwrapKey(JNIEnv* env, jobject jSession, jobject jMechanism,
                                                                   jlong jUnwrappingKey, jbyteArray jWrappedKey,
                                                                   jint jOff, jint jLen, jobjectArray jTemplate) {
  CK_ATTRIBUTE_PTR pTemplate = nullptr;
  CK_ULONG ulTemplateCount = 0;
  CK_MECHANISM UnwrapMechanism = {};
  ByteElements pWrappedKey = {};
  CK_OBJECT_HANDLE hKey = CK_INVALID_HANDLE;
  const bool unwrapped = frame(env, "J_UnwrapKey", [&] {
    Attribute2CKAttribute(env, jTemplate, pTemplate, ulTemplateCount);
    Mechanism2CKMechanism(env, jMechanism, &UnwrapMechanism);
    borrowInput(env, pWrappedKey, jWrappedKey, "pWrappedKey is NULL");
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    callModule(&CK_FUNCTION_LIST::C_UnwrapKey, hSession, &UnwrapMechanism, handle(jUnwrappingKey),
               at(pWrappedKey, jOff), widen(jLen), pTemplate, ulTemplateCount, &hKey);
  });
  // The elements are never given back, on any path: callers have always had the blob held after this call.
  freeTemplate(pTemplate, ulTemplateCount);
  FreeMechanism(&UnwrapMechanism);
  return handleOrNone(unwrapped, hKey);
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeSession_J_1DeriveKey(JNIEnv* env, jobject jSession, jobject jMechanism,
                                                                   jlong jBaseKey, jobjectArray jTemplate) {
  CK_ATTRIBUTE_PTR KeyTemplate = nullptr;
  CK_ULONG KeyTemplateLen = 0;
  CK_MECHANISM Mechanism = {};
  frame(env, "J_DeriveKey", [&] {
    Attribute2CKAttribute(env, jTemplate, KeyTemplate, KeyTemplateLen);
    Mechanism2CKMechanism(env, jMechanism, &Mechanism);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    CK_OBJECT_HANDLE hKey = CK_INVALID_HANDLE;
    callModule(&CK_FUNCTION_LIST::C_DeriveKey, hSession, &Mechanism, handle(jBaseKey), KeyTemplate, KeyTemplateLen,
               &hKey);
    announceDerivedKey(env, jSession, hKey);
  });
  freeTemplate(KeyTemplate, KeyTemplateLen);
  FreeMechanism(&Mechanism);
  return static_cast<jlong>(KeyTemplateLen);  // the length of the template, not the handle: callers count on it
}
