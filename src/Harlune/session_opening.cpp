/// Opening sessions on a slot, closing all of them, and reading which session a Java object stands for.
#include "harlune.h"
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
  const jclass NativeSessionClass =
      require(env->FindClass("velnor/nat/NativeSession"), "Class 'velnor/nat/NativeSession' not found");
  const jclass NativeSlotClass =
      require(env->FindClass("velnor/nat/NativeSlot"), "Class 'velnor/nat/NativeSlot' not found");
  const jmethodID constructor = require(env->GetMethodID(NativeSessionClass, "<init>", "(Lvelnor/Slot;I)V"),
                                        "NativeSession constructor not found");
  const jfieldID slotID = require(env->GetFieldID(NativeSlotClass, "m_slotID", "I"), "m_slotID field not found");
  const CK_SLOT_ID SlotId = widen(env->GetIntField(jSlot, slotID));
  CK_SESSION_HANDLE phSession = 0;
  callModule(&CK_FUNCTION_LIST::C_OpenSession, SlotId, widen(sessionFlag), nullptr, nullptr, &phSession);
  installSignerPinCallback(pC_SetCallBack);
  return {phSession, NativeSessionClass, constructor};
}

jobject newSession(JNIEnv* env, jobject jSlot, const OpenedSession& session) {
  return require(env->NewObject(session.NativeSessionClass, session.constructor, jSlot, narrow(session.phSession)),
                 "NativeSession object is NULL");
}

}  // namespace

CK_SESSION_HANDLE getSessionHandle(JNIEnv* env, jobject jSession) {
  const jclass NativeSessionClass =
      require(env->FindClass("velnor/nat/NativeSession"), "Class 'velnor/nat/NativeSession' not found");
  const jfieldID m_sessionHandle =
      require(env->GetFieldID(NativeSessionClass, "m_sessionHandle", "J"), "Field m_sessionHandle' not found");
  // A long field read as an int: handles are 32 bits wide for every caller, and modules see them sign-extended.
  return widen(env->GetIntField(jSession, m_sessionHandle));
}

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

JNIEXPORT void JNICALL Java_velnor_nat_NativeSlot_J_1CloseAllSessions(JNIEnv* env, jobject jSlot) {
  LogFunction("J_CloseAllSessions - entry", CKR_OK);
  frame(env, "J_CloseAllSessions", [&] { callModule(&CK_FUNCTION_LIST::C_CloseAllSessions, getSlotID(env, jSlot)); });
  LogFunction("J_CloseAllSessions - exit", CKR_OK);
}
