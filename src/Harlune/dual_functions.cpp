/// The updates that continue two operations of a session at once. Both must have been started before. No method here
/// calls the log hook.
#include "operations.h"
#include "velnor_nat_NativeSession.h"

namespace {

/// All four write into the caller's array and release it detached after a failure.
template <typename Entry>
jint update(JNIEnv* env, const char* name, const char* inputMissing, jobject jSession, const Region& input,
            jbyteArray jOutput, jint outputOffset, Entry CK_FUNCTION_LIST::*entry) {
  return transformIntoCallersArray(env, {name, inputMissing, AfterFailure::ReleaseDetached}, input, jOutput,
                                   outputOffset, alreadyStarted, sessionOfObject(env, jSession), entry);
}

}  // namespace

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1DecryptDigestUpdate(JNIEnv* env, jobject jSession,
                                                                            jbyteArray encryptedPart, jint encOff,
                                                                            jint encLen, jbyteArray dataPart,
                                                                            jint dataOff) {
  return update(env, "J_DecryptDigestUpdate", "EncryptedPart is NULL", jSession, {encryptedPart, encOff, encLen},
                dataPart, dataOff, &CK_FUNCTION_LIST::C_DecryptDigestUpdate);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1DigestEncryptUpdate(JNIEnv* env, jobject jSession,
                                                                            jbyteArray dataPart, jint dataOff,
                                                                            jint dataLen, jbyteArray encryptedPart,
                                                                            jint encOff) {
  return update(env, "J_DigestEncryptUpdate", "DataPart is NULL", jSession, {dataPart, dataOff, dataLen}, encryptedPart,
                encOff, &CK_FUNCTION_LIST::C_DigestEncryptUpdate);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1SignEncryptUpdate(JNIEnv* env, jobject jSession,
                                                                          jbyteArray dataPart, jint dataOff,
                                                                          jint dataLen, jbyteArray encryptedPart,
                                                                          jint encOff) {
  return update(env, "J_SignEncryptUpdate", "DataPart is NULL", jSession, {dataPart, dataOff, dataLen}, encryptedPart,
                encOff, &CK_FUNCTION_LIST::C_SignEncryptUpdate);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeSession_J_1DecryptVerifyUpdate(JNIEnv* env, jobject jSession,
                                                                            jbyteArray encryptedPart, jint encOff,
                                                                            jint encLen, jbyteArray part, jint off) {
  return update(env, "J_DecryptVerifyUpdate", "pEncryptedPart is NULL", jSession, {encryptedPart, encOff, encLen}, part,
                off, &CK_FUNCTION_LIST::C_DecryptVerifyUpdate);
}
