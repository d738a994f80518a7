/// Saving and restoring the cryptographic state of a session.
#include "harlune.h"
#include "loans.h"
#include "lookups.h"
#include "memory.h"
#include "velnor_nat_NativeSession.h"

#include <algorithm>

JNIEXPORT jbyteArray JNICALL Java_velnor_nat_NativeSession_J_1GetOperationState(JNIEnv* env, jobject jSession) {
  Buffer OperationState = {};
  jbyteArray jOperationState = nullptr;
  frame(env, "J_GetOperationState", [&] {
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    CK_ULONG OperationStateLen = 0;
    callModule(&CK_FUNCTION_LIST::C_GetOperationState, hSession, nullptr, &OperationStateLen);
    if (OperationStateLen == 0) {
      raise("OperationStateLen == 0");
    }
    resize(OperationState, std::max<CK_ULONG>(OperationStateLen, sizeof(void*)));
    callModule(&CK_FUNCTION_LIST::C_GetOperationState, hSession, OperationState.bytes, &OperationStateLen);
    jOperationState = newByteArray(env, OperationState, OperationStateLen, "jOperationState is NULL");
  });
  release(OperationState.bytes);
  return jOperationState;
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1SetOperationState(JNIEnv* env, jobject jSession,
                                                                          jbyteArray jOperationState,
                                                                          jlong jEncryptionKey,
                                                                          jlong jAuthenticationKey) {
  ByteElements OperationState = {};
  frame(env, "J_SetOperationState", [&] {
    require(jOperationState, "OperationState is NULL");  // JVMs do not survive being asked for the length of null
    const CK_ULONG OperationStateLen = widen(env->GetArrayLength(jOperationState));
    borrowInput(env, OperationState, jOperationState, "OperationState is NULL");
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    callModule(&CK_FUNCTION_LIST::C_SetOperationState, hSession, at(OperationState, 0), OperationStateLen,
               handle(jEncryptionKey), handle(jAuthenticationKey));
  });
  giveBack(env, OperationState, JNI_ABORT);
}
