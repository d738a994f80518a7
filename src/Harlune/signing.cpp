/// Signing in one part and in several, and signing with message recovery.
#include "operations.h"
#include "velnor_nat_NativeSession.h"

namespace {

CK_RV loggedSign(CK_SESSION_HANDLE hSession, CK_BYTE_PTR Data, CK_ULONG dataLen, CK_BYTE_PTR Signature,
                 CK_ULONG_PTR SignatureLen) {
  LogFunction("J_Sign : before C_Sign", CKR_OK);
  const CK_RV Rv = invoke(&CK_FUNCTION_LIST::C_Sign, hSession, Data, dataLen, Signature, SignatureLen);
  LogFunction("J_Sign : after C_Sign", Rv);
  return Rv;
}

}  // namespace

CK_RV J_SignInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject jMechanism, jlong jKey) {
  LogFunction("J_SignInit - entry", CKR_OK);
  const CK_RV Rv = startOperation(env, "J_SignInit", jMechanism, [&](CK_MECHANISM_PTR Mechanism) {
    return invoke(&CK_FUNCTION_LIST::C_SignInit, hSession, Mechanism, handle(jKey));
  });
  LogFunction("J_SignInit - exit", Rv);
  return Rv;
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1SignInit(JNIEnv* env, jobject, jlong hSession,
                                                                 jobject mechanism, jlong hKey) {
  // A refusal has been reported by then; raising it again makes the same exception a second time.
  frame(env, "J_SignInit", [&] { requireOk(J_SignInit(env, handle(hSession), mechanism, hKey)); });
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1SignUpdate(JNIEnv* env, jobject, jlong hSession, jboolean bInit,
                                                                   jobject mechanism, jlong hKey, jbyteArray data,
                                                                   jint dataOff, jint dataLen) {
  ByteElements Data = {};
  LogFunction("J_SignUpdate - entry", CKR_OK);
  const auto started = initFlag(J_SignInit, env, bInit, hSession, mechanism, hKey);
  frame(env, "J_SignUpdate", [&] {
    if (started()) {
      borrowInput(env, Data, data, "Data is NULL");
      callModule(&CK_FUNCTION_LIST::C_SignUpdate, handle(hSession), at(Data, dataOff), widen(dataLen));
    }
  });
  giveBack(env, Data, JNI_ABORT);
  LogFunction("J_SignUpdate - exit", CKR_OK);
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jlong hKey, jbyteArray data, jint dataOff,
    jint dataLen) {
  ByteElements Data = {};
  Buffer Signature = {};
  jbyteArray jSignature = nullptr;
  LogFunction("J_Sign - entry", CKR_OK);
  const auto started = initFlag(J_SignInit, env, bInit, hSession, mechanism, hKey);
  frame(env, "J_Sign", [&] {
    if (!started()) {
      return;
    }
    borrowInput(env, Data, data, "Data is NULL");
    CK_ULONG SignatureLen = 0;
    requireOk(loggedSign(handle(hSession), at(Data, dataOff), widen(dataLen), nullptr, &SignatureLen));
    resize(Signature, SignatureLen);
    requireOk(loggedSign(handle(hSession), at(Data, dataOff), widen(dataLen), Signature.bytes, &SignatureLen));
    jSignature = newByteArray(env, Signature, SignatureLen, "jSignature is NULL");
  });
  giveBack(env, Data, JNI_ABORT);
  release(Signature.bytes);
  LogFunction("J_Sign - exit", CKR_OK);
  return jSignature;
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII_3BI(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jlong hKey, jbyteArray data, jint dataOff,
    jint dataLen, jbyteArray sign, jint signOff) {
  LogFunction("J_Sign - entry", CKR_OK);
  const jint SignatureLen = transformIntoCallersArray(
      env, {"J_Sign", "Data is NULL"}, {data, dataOff, dataLen}, sign, signOff,
      initFlag(J_SignInit, env, bInit, hSession, mechanism, hKey), sessionArgument(hSession), loggedSign);
  LogFunction("J_Sign - exit", CKR_OK);
  return SignatureLen;
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1SignFinal__(JNIEnv* env, jobject jSession) {
  LogFunction("J_SignFinal - entry", CKR_OK);
  const jbyteArray jSignature =
      finishIntoNewArray(env, "J_SignFinal", "Sign is NULL", jSession, &CK_FUNCTION_LIST::C_SignFinal);
  LogFunction("J_SignFinal - exit", CKR_OK);
  return jSignature;
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1SignFinal___3BI(JNIEnv* env, jobject jSession, jbyteArray sign,
                                                                        jint signOff) {
  LogFunction("J_SignFinal - entry", CKR_OK);
  const jint SignatureLen =
      finishIntoCallersArray(env, {"J_SignFinal"}, jSession, sign, signOff, 0, &CK_FUNCTION_LIST::C_SignFinal);
  LogFunction("J_SignFinal - exit", CKR_OK);
  return SignatureLen;
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1SignRecoverInit(JNIEnv* env, jobject jSession,
                                                                        jobject mechanism, jlong hKey) {
  startRecovery(env, "J_SignRecoverInit", jSession, mechanism, hKey, &CK_FUNCTION_LIST::C_SignRecoverInit);
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1SignRecover___3BII(JNIEnv* env, jobject jSession,
                                                                                 jbyteArray data, jint dataOff,
                                                                                 jint dataLen) {
  return transformIntoNewArray(env, {"J_SignRecover", "Data is NULL", "jSignature is NULL"}, {data, dataOff, dataLen},
                               alreadyStarted, sessionOfObject(env, jSession), &CK_FUNCTION_LIST::C_SignRecover);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1SignRecover___3BII_3BI(JNIEnv* env, jobject jSession,
                                                                               jbyteArray data, jint dataOff,
                                                                               jint dataLen, jbyteArray signature,
                                                                               jint signOff) {
  return transformIntoCallersArray(env, {"J_SignRecover", "Data is NULL", AfterFailure::ReleaseDetached},
                                   {data, dataOff, dataLen}, signature, signOff, alreadyStarted,
                                   sessionOfObject(env, jSession), &CK_FUNCTION_LIST::C_SignRecover);
}
