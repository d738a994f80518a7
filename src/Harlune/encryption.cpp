/// Encrypting in one part and in several.
#include "operations.h"
#include "velnor_nat_NativeSession.h"

CK_RV J_EncryptInit(JNIEnv* env, CK_SESSION_HANDLE hSession, jobject mechanism, jlong jKey) {
  LogFunction("J_EncryptInit - entry", CKR_OK);
  const CK_RV Rv = startOperation(env, "J_EncryptInit", mechanism, [&](CK_MECHANISM_PTR Mechanism) {
    return invoke(&CK_FUNCTION_LIST::C_EncryptInit, hSession, Mechanism, handle(jKey));
  });
  LogFunction("J_EncryptInit - exit", Rv);
  return Rv;
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1EncryptUpdate__JZLvelnor_Mechanism_2J_3BII(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jlong hKey, jbyteArray data, jint dataOff,
    jint dataLen) {
  return transformIntoNewArray(env, {"J_EncryptUpdate", "Data is NULL", "jEnc is NULL"}, {data, dataOff, dataLen},
                               initFlag(J_EncryptInit, env, bInit, hSession, mechanism, hKey),
                               sessionArgument(hSession), &CK_FUNCTION_LIST::C_EncryptUpdate);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1EncryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jlong hKey, jbyteArray data, jint dataOff,
    jint dataLen, jbyteArray enc, jint encOff) {
  return transformIntoCallersArray(env, {"J_EncryptUpdate", "Data is NULL"}, {data, dataOff, dataLen}, enc, encOff,
                                   initFlag(J_EncryptInit, env, bInit, hSession, mechanism, hKey),
                                   sessionArgument(hSession), &CK_FUNCTION_LIST::C_EncryptUpdate);
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1Encrypt__JZLvelnor_Mechanism_2J_3BII(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jlong hKey, jbyteArray data, jint dataOff,
    jint dataLen) {
  return transformIntoNewArray(env, {"J_Encrypt", "Data is NULL", "jEncryptedData is NULL"}, {data, dataOff, dataLen},
                               initFlag(J_EncryptInit, env, bInit, hSession, mechanism, hKey),
                               sessionArgument(hSession), &CK_FUNCTION_LIST::C_Encrypt);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1Encrypt__JZLvelnor_Mechanism_2J_3BII_3BI(
    JNIEnv* env, jobject, jlong hSession, jboolean bInit, jobject mechanism, jlong hKey, jbyteArray data, jint dataOff,
    jint dataLen, jbyteArray enc, jint encOff) {
  LogFunction("J_Encrypt - entry", CKR_OK);
  const jint EncryptedDataLen =
      transformIntoCallersArray(env, {"J_Encrypt", "Data is NULL"}, {data, dataOff, dataLen}, enc, encOff,
                                initFlag(J_EncryptInit, env, bInit, hSession, mechanism, hKey),
                                sessionArgument(hSession), &CK_FUNCTION_LIST::C_Encrypt);
  LogFunction("J_Encrypt - exit", CKR_OK);
  return EncryptedDataLen;
}

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1EncryptFinal__(JNIEnv* env, jobject jSession) {
  return finishIntoNewArray(env, "J_EncryptFinal", "jlastEncryptedPart is NULL", jSession,
                            &CK_FUNCTION_LIST::C_EncryptFinal);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1EncryptFinal___3BI(JNIEnv* env, jobject jSession,
                                                                           jbyteArray enc, jint encOff) {
  return finishIntoCallersArray(env, {"J_EncryptFinal"}, jSession, enc, encOff, 0, &CK_FUNCTION_LIST::C_EncryptFinal);
}
