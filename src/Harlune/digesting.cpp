/// Digesting in one part and in several, and mixing a key into a digest. No method here calls the log hook.
#include "operations.h"
#include "velnor_nat_NativeSession.h"

namespace {

/// The size of a SHA-1 digest. Callers that meet CKR_BUFFER_TOO_SMALL digest into an array of their own.
constexpr CK_ULONG kFixedDigestSize = 20;

}  // namespace

CK_RV J_DigestInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject jMechanism) {
  return startOperation(env, "J_DigestInit", jMechanism, [&](CK_MECHANISM_PTR Mechanism) {
    return invoke(&CK_FUNCTION_LIST::C_DigestInit, hSession, Mechanism);
  });
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1DigestKey(JNIEnv* env, jobject, jlong hSession, jboolean bInit,
                                                                  jobject mechanism, jlong hKey) {
  const auto started = initFlag(J_DigestInit, env, bInit, hSession, mechanism);
  frame(env, "J_DigestKey", [&] {
    if (started()) {
      callModule(&CK_FUNCTION_LIST::C_DigestKey, handle(hSession), handle(hKey));
    }
  });
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1DigestUpdate(JNIEnv* env, jobject, jlong hSession,
                                                                     jboolean bInit, jobject mechanism, jbyteArray part,
                                                                     jint off, jint len) {
  ByteElements pPart = {};
  const auto started = initFlag(J_DigestInit, env, bInit, hSession, mechanism);
  frame(env, "J_DigestUpdate", [&] {
    if (started()) {
      borrowInput(env, pPart, part, "pPart is NULL");
      callModule(&CK_FUNCTION_LIST::C_DigestUpdate, handle(hSession), at(pPart, off), widen(len));
    }
  });
  giveBack(env, pPart, JNI_ABORT);
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1Digest__JZLvelnor_Mechanism_2_3BII(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jbyteArray data, jint dataOff,
    jint dataLen) {
  ByteElements Data = {};
  Buffer Digest = {};
  jbyteArray jDigest = nullptr;
  const auto started = initFlag(J_DigestInit, env, bInit, hSession, mechanism);
  frame(env, "J_Digest", [&] {
    if (!started()) {
      return;
    }
    tryBorrow(env, Data, data);  // whether there may be no data is for the module to judge
    resize(Digest, kFixedDigestSize);
    CK_ULONG DigestLen = kFixedDigestSize;
    callModule(&CK_FUNCTION_LIST::C_Digest, handle(hSession), at(Data, dataOff), widen(dataLen), Digest.bytes,
               &DigestLen);
    jDigest = newByteArray(env, Digest, DigestLen, "jDigest is NULL");
  });
  giveBack(env, Data, JNI_ABORT);
  release(Digest.bytes);
  return jDigest;
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1Digest__JZLvelnor_Mechanism_2_3BII_3BI(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jbyteArray data, jint dataOff,
    jint dataLen, jbyteArray digest, jint digestOff) {
  return transformIntoCallersArray(env, {"J_Digest"}, {data, dataOff, dataLen}, digest, digestOff,
                                   initFlag(J_DigestInit, env, bInit, hSession, mechanism), sessionArgument(hSession),
                                   &CK_FUNCTION_LIST::C_Digest);
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1DigestFinal__(JNIEnv* env, jobject jSession) {
  return finishIntoNewArray(env, "J_DigestFinal", "jDigest is NULL", jSession, &CK_FUNCTION_LIST::C_DigestFinal);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1DigestFinal___3BI(JNIEnv* env, jobject jSession,
                                                                          jbyteArray digest, jint off) {
  return finishIntoCallersArray(env, {.name = "J_DigestFinal", .afterFailure = AfterFailure::ReleaseDetached}, jSession,
                                digest, off, kOutputGuess, &CK_FUNCTION_LIST::C_DigestFinal);
}
