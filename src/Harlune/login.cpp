/// Logging in and out, closing a session, and what a session says of itself.
#include "harlune.h"
#include "velnor_nat_NativeSession.h"

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1Login(JNIEnv* env, jobject jSession, jbyte UserType,
                                                              jstring Pin) {
  Utf8Characters pPin = {};
  LogFunction("J_Login - entry", CKR_OK);
  frame(env, "J_Login", [&] {
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    borrowPin(env, pPin, Pin, "Pin is NULL", "invalid pPinLen (0)");
    callModule(&CK_FUNCTION_LIST::C_Login, hSession, widen(UserType), text(pPin), pPin.length);
  });
  giveBack(env, pPin);
  LogFunction("J_Login - exit", CKR_OK);
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1Logout(JNIEnv* env, jobject jSession) {
  LogFunction("J_Logout - entry", CKR_OK);
  frame(env, "J_Logout", [&] { callModule(&CK_FUNCTION_LIST::C_Logout, getSessionHandle(env, jSession)); });
  LogFunction("J_Logout - exit", CKR_OK);
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1CloseSession(JNIEnv* env, jobject jSession) {
  LogFunction("J_CloseSession - entry", CKR_OK);
  frame(
      env, "J_CloseSession",
      [&] {
        const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
        LogFunction("J_CloseSession : before C_CloseSession", CKR_OK);
        const CK_RV Rv = invoke(&CK_FUNCTION_LIST::C_CloseSession, hSession);
        LogFunction("J_CloseSession : after C_CloseSession", Rv);
        if (Rv != CKR_OK) {
          LogFunction("J_CloseSession : C_CloseSession failed", Rv);
          raise(Rv);
        }
      },
      [] { LogFunction("J_CloseSession : exception", CKR_OK); });
  LogFunction("J_CloseSession - exit", CKR_OK);
}

JNIEXPORT jobject JNICALL Java_velnor_nat_NativeSession_J_1GetSessionInfo(JNIEnv* env, jobject jSession) {
  jobject jSessionInfo = nullptr;
  LogFunction("J_GetSessionInfo - entry", CKR_OK);
  frame(env, "J_GetSessionInfo", [&] {
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    const jclass SessionInfoClass =
        require(env->FindClass("velnor/SessionInfo"), "Class 'velnor/SessionInfo' not found");
    const jmethodID constructor =
        require(env->GetMethodID(SessionInfoClass, "<init>", "(IIII)V"), "SessionInfo constructor not found");
    CK_SESSION_INFO info = {};
    callModule(&CK_FUNCTION_LIST::C_GetSessionInfo, hSession, &info);
    const jint slotID = Check64BitLen(env, info.slotID);
    const jint state = Check64BitLen(env, info.state);
    const jint flags = Check64BitLen(env, info.flags);
    const jint ulDeviceError = Check64BitLen(env, info.ulDeviceError);
    jSessionInfo = require(env->NewObject(SessionInfoClass, constructor, slotID, state, flags, ulDeviceError),
                           "SessionInfo object is NULL");
  });
  LogFunction("J_GetSessionInfo - exit", CKR_OK);
  return jSessionInfo;
}
