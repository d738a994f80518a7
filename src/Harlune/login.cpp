/// Logging in and out.
#include "harlune.h"
#include "loans.h"
#include "lookups.h"
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
