/// Decrypting in one part and in several. No method here calls the log hook.
#include "operations.h"
#include "velnor_nat_NativeSession.h"

CK_RV J_DecryptInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject mechanism, jlong jKey) {
  return startOperation(env, "J_DecryptInit", mechanism, [&](CK_MECHANISM_PTR Mechanism) {
    return invoke(&CK_FUNCTION_LIST::C_DecryptInit, hSession, Mechanism, handle(jKey));
  });
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1DecryptInit(JNIEnv* env, jobject, jlong hSession,
                                                                    jobject mechanism, jlong hKey) {
  // A refusal has been reported by then; raising it again makes the same exception a second time.
  frame(env, "J_DecryptInit", [&] { requireOk(J_DecryptInit(env, handle(hSession), mechanism, hKey)); });
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1DecryptUpdate__JZLvelnor_Mechanism_2J_3BII(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jlong hKey, jbyteArray enc, jint encOff,
    jint encLen) {
  return transformIntoNewArray(env, {"J_DecryptUpdate", "EncryptedData is NULL", "jDecryptedData is NULL"},
                               {enc, encOff, encLen}, initFlag(J_DecryptInit, env, bInit, hSession, mechanism, hKey),
                               sessionArgument(hSession), &CK_FUNCTION_LIST::C_DecryptUpdate);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1DecryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jlong hKey, jbyteArray enc, jint encOff,
    jint encLen, jbyteArray data, jint dataOff) {
  return transformIntoCallersArray(env, {"J_DecryptUpdate", "EncryptedData is NULL"}, {enc, encOff, encLen}, data,
                                   dataOff, initFlag(J_DecryptInit, env, bInit, hSession, mechanism, hKey),
                                   sessionArgument(hSession), &CK_FUNCTION_LIST::C_DecryptUpdate);
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1Decrypt(JNIEnv* env, jobject, jlong hSession,
                                                                      jboolean bInit, jobject mechanism, jlong hKey,
                                                                      jbyteArray enc, jint encOff, jint encLen) {
  return transformIntoNewArray(env, {"J_Decrypt", "EncryptedData is NULL", "jDecryptedData is NULL"},
                               {enc, encOff, encLen}, initFlag(J_DecryptInit, env, bInit, hSession, mechanism, hKey),
                               sessionArgument(hSession), &CK_FUNCTION_LIST::C_Decrypt);
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1DecryptFinal__(JNIEnv* env, jobject jSession) {
  return finishIntoNewArray(env, "J_DecryptFinal", "jlastDecryptedPart is NULL", jSession,
                            &CK_FUNCTION_LIST::C_DecryptFinal);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1DecryptFinal___3BI(JNIEnv* env, jobject jSession,
                                                                           jbyteArray data, jint dataOff) {
  return finishIntoCallersArray(env, {"J_DecryptFinal"}, jSession, data, dataOff, kOutputGuess,
                                &CK_FUNCTION_LIST::C_DecryptFinal);
}
