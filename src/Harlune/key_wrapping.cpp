/// Wrapping and unwrapping keys. No method here calls the log hook.
#include "operations.h"
#include "templates.h"
#include "velnor_nat_NativeSession.h"

namespace {

/// Larger than any wrapped key in common use, so that wrapping takes one module call as a rule.
constexpr CK_ULONG kWrappedKeyGuess = 1024;

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
  Template pTemplate = {};
  CK_MECHANISM UnwrapMechanism = {};
  ByteElements pWrappedKey = {};
  CK_OBJECT_HANDLE hKey = CK_INVALID_HANDLE;
  const bool unwrapped = frame(env, "J_UnwrapKey", [&] {
    Attribute2CKAttribute(env, jTemplate, pTemplate);
    Mechanism2CKMechanism(env, jMechanism, &UnwrapMechanism);
    borrowInput(env, pWrappedKey, jWrappedKey, "pWrappedKey is NULL");
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    callModule(&CK_FUNCTION_LIST::C_UnwrapKey, hSession, &UnwrapMechanism, handle(jUnwrappingKey),
               at(pWrappedKey, jOff), widen(jLen), pTemplate.entries, pTemplate.count, &hKey);
  });
  // The elements are never given back, on any path: callers have always had the blob held after this call.
  freeTemplate(pTemplate);
  FreeMechanism(&UnwrapMechanism);
  return handleOrNone(unwrapped, hKey);
}
