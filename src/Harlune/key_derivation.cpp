/// Deriving keys. The log hook is not called.
#include "harlune.h"
#include "lookups.h"
#include "mechanisms.h"
#include "templates.h"
#include "velnor_nat_NativeSession.h"

namespace {

/// The only way in which a derived key's handle reaches Java: the constructor of an object that is dropped at once.
void announceDerivedKey(JNIEnv* env, jobject jSession, CK_OBJECT_HANDLE hKey) {
  const jclass NativeObjectClass = require(env->FindClass("velnor/nat/NativeObject"), "Class 'Pkcs11Object' not found");
  const jmethodID constructor = require(env->GetMethodID(NativeObjectClass, "<init>", "(Lquadrel/Pkcs11Session;I)V"),
                                        "Pkcs11Object constructor not found");
  require(env->NewObject(NativeObjectClass, constructor, jSession, narrow(hKey)), "Pkcs11Object object is NULL");
}

}  // namespace

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeSession_J_1DeriveKey(JNIEnv* env, jobject jSession, jobject jMechanism,
                                                                   jlong jBaseKey, jobjectArray jTemplate) {
  Template KeyTemplate = {};
  CK_MECHANISM Mechanism = {};
  frame(env, "J_DeriveKey", [&] {
    Attribute2CKAttribute(env, jTemplate, KeyTemplate);
    Mechanism2CKMechanism(env, jMechanism, &Mechanism);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    CK_OBJECT_HANDLE hKey = CK_INVALID_HANDLE;
    callModule(&CK_FUNCTION_LIST::C_DeriveKey, hSession, &Mechanism, handle(jBaseKey), KeyTemplate.entries,
               KeyTemplate.count, &hKey);
    announceDerivedKey(env, jSession, hKey);
  });
  freeTemplate(KeyTemplate);
  FreeMechanism(&Mechanism);
  return static_cast<jlong>(KeyTemplate.count);  // the length of the template, not the handle: callers count on it
}
