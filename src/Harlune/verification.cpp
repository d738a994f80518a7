/// Verifying in one part and in several, and verification with data recovery. A signature that does not verify is an
/// exception with the module's code; returning means it is valid. No method here calls the log hook.
#include "operations.h"
#include "velnor_nat_NativeSession.h"

CK_RV J_VerifyInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject jMechanism, jlong jKey) {
  return startOperation(env, "J_VerifyInit", jMechanism, [&](CK_MECHANISM_PTR Mechanism) {
    return invoke(&CK_FUNCTION_LIST::C_VerifyInit, hSession, Mechanism, handle(jKey));
  });
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1VerifyUpdate(JNIEnv* env, jobject, jlong hSession,
                                                                     jboolean bInit, jobject mechanism, jlong hKey,
                                                                     jbyteArray part, jint partOff, jint partLen) {
  ByteElements pPart = {};
  bool refused = false;
  const auto started = initFlag(J_VerifyInit, env, bInit, hSession, mechanism, hKey);
  frame(env, "J_VerifyUpdate", [&] {
    refused = !started();
    if (!refused) {
      borrowInput(env, pPart, part, "pPart is NULL");
      callModule(&CK_FUNCTION_LIST::C_VerifyUpdate, handle(hSession), at(pPart, partOff), widen(partLen));
    }
  });
  // Unguarded, unlike its siblings: JVMs take null elements of a real array in their stride, a null array they do not.
  if (!refused) {
    env->ReleaseByteArrayElements(part, pPart.elements, JNI_ABORT);
  }
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1Verify(JNIEnv* env, jobject, jlong hSession, jboolean bInit,
                                                               jobject mechanism, jlong hKey, jbyteArray data,
                                                               jint dataOff, jint dataLen, jbyteArray signature,
                                                               jint signOff, jint signLen) {
  ByteElements Data = {};
  ByteElements Signature = {};
  const auto started = initFlag(J_VerifyInit, env, bInit, hSession, mechanism, hKey);
  frame(env, "J_Verify", [&] {
    if (started()) {
      borrowInput(env, Data, data, "Data is NULL");
      borrowInput(env, Signature, signature, "Signature is NULL");
      callModule(&CK_FUNCTION_LIST::C_Verify, handle(hSession), at(Data, dataOff), widen(dataLen),
                 at(Signature, signOff), widen(signLen));
    }
  });
  giveBack(env, Data, JNI_ABORT);
  giveBack(env, Signature, JNI_ABORT);
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1VerifyFinal(JNIEnv* env, jobject jSession, jbyteArray signature,
                                                                    jint signOff, jint signLen) {
  ByteElements Signature = {};
  frame(env, "J_VerifyFinal", [&] {
    borrowInput(env, Signature, signature, "Signature is NULL");
    callModule(&CK_FUNCTION_LIST::C_VerifyFinal, getSessionHandle(env, jSession), at(Signature, signOff),
               widen(signLen));
  });
  // Never given back, on any path: callers have always had the array held after this call. It was only read.
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1VerifyRecoverInit(JNIEnv* env, jobject jSession,
                                                                          jobject mechanism, jlong hKey) {
  startRecovery(env, "J_VerifyRecoverInit", jSession, mechanism, hKey, &CK_FUNCTION_LIST::C_VerifyRecoverInit);
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1VerifyRecover___3BII(JNIEnv* env, jobject jSession,
                                                                                   jbyteArray sign, jint signOff,
                                                                                   jint signLen) {
  return transformIntoNewArray(env, {"J_VerifyRecover", "Sign is NULL", "jData is NULL"}, {sign, signOff, signLen},
                               alreadyStarted, sessionOfObject(env, jSession), &CK_FUNCTION_LIST::C_VerifyRecover);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1VerifyRecover___3BII_3BI(JNIEnv* env, jobject jSession,
                                                                                 jbyteArray signature, jint signOff,
                                                                                 jint signLen, jbyteArray data,
                                                                                 jint dataOff) {
  return transformIntoCallersArray(env, {"J_VerifyRecover", "Signature is NULL", AfterFailure::ReleaseDetached},
                                   {signature, signOff, signLen}, data, dataOff, alreadyStarted,
                                   sessionOfObject(env, jSession), &CK_FUNCTION_LIST::C_VerifyRecover);
}
