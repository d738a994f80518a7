/// Opening and closing sessions, and what a session says of itself.
#include "harlune.h"
#include "lookups.h"
#include "module.h"
#include "velnor_nat_NativeSession.h"
#include "velnor_nat_NativeSlot.h"

namespace {

/// A session that the module has opened, and what it takes to make its Java object.
struct OpenedSession {
  CK_SESSION_HANDLE phSession;
  jclass NativeSessionClass;
  jmethodID constructor;
};

/// All lookups come before the module is asked, so that a broken class path never leaves a session open.
OpenedSession openSession(JNIEnv* env, jobject jSlot, jint sessionFlag) {
  const jclass NativeSessionClass = findSessionClass(env);
  const jclass NativeSlotClass = findSlotClass(env);
  const jmethodID constructor = require(env->GetMethodID(NativeSessionClass, "<init>", "(Lvelnor/Slot;I)V"),
                                        "NativeSession constructor not found");
  const CK_SLOT_ID SlotId = getSlotID(env, jSlot, findSlotID(env, NativeSlotClass, "m_slotID field not found"));
  CK_SESSION_HANDLE phSession = 0;
  callModule(&CK_FUNCTION_LIST::C_OpenSession, SlotId, widen(sessionFlag), nullptr, nullptr, &phSession);
  installSignerPinCallback();
  return {phSession, NativeSessionClass, constructor};
}

jobject newSession(JNIEnv* env, jobject jSlot, const OpenedSession& session) {
  return require(env->NewObject(session.NativeSessionClass, session.constructor, jSlot, narrow(session.phSession)),
                 "NativeSession object is NULL");
}

}  // namespace

JNIEXPORT jobject JNICALL Java_velnor_nat_NativeSlot_J_1OpenSession__I(JNIEnv* env, jobject jSlot, jint sessionFlag) {
  jobject jSession = nullptr;
  LogFunction("J_OpenSession - entry", CKR_OK);
  frame(env, "J_OpenSession", [&] { jSession = newSession(env, jSlot, openSession(env, jSlot, sessionFlag)); });
  LogFunction("J_OpenSession - exit", CKR_OK);
  return jSession;
}

JNIEXPORT jobject JNICALL Java_velnor_nat_NativeSlot_J_1OpenSession__IBLjava_lang_String_2(JNIEnv* env, jobject jSlot,
                                                                                           jint sessionFlag,
                                                                                           jbyte UserType,
                                                                                           jstring Pin) {
  const char* characters = nullptr;
  jobject jSession = nullptr;
  LogFunction("J_OpenSession - entry", CKR_OK);
  frame(env, "J_OpenSession", [&] {
    const OpenedSession session = openSession(env, jSlot, sessionFlag);
    const jsize length = Pin == nullptr ? 0 : env->GetStringUTFLength(Pin);
    if (length > 0) {
      characters = require(env->GetStringUTFChars(Pin, nullptr), "Pin is NULL");
      const CK_RV Rv = invoke(&CK_FUNCTION_LIST::C_Login, session.phSession, widen(UserType),
                              reinterpret_cast<CK_UTF8CHAR_PTR>(const_cast<char*>(characters)), widen(length));
      // An application that opens its sessions one by one with the PIN is logged in after the first.
      if (Rv != CKR_USER_ALREADY_LOGGED_IN) {
        requireOk(Rv);
      }
    }
    jSession = newSession(env, jSlot, session);
  });
  if (Pin != nullptr) {
    env->ReleaseStringUTFChars(Pin, characters);  // also when none were obtained; JVMs accept the null
  }
  LogFunction("J_OpenSession - exit", CKR_OK);
  return jSession;
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

JNIEXPORT void JNICALL Java_velnor_nat_NativeSlot_J_1CloseAllSessions(JNIEnv* env, jobject jSlot) {
  LogFunction("J_CloseAllSessions - entry", CKR_OK);
  frame(env, "J_CloseAllSessions", [&] { callModule(&CK_FUNCTION_LIST::C_CloseAllSessions, getSlotID(env, jSlot)); });
  LogFunction("J_CloseAllSessions - exit", CKR_OK);
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
