/// Making new keys and key pairs on the token.
#include "harlune.h"
#include "lookups.h"
#include "mechanisms.h"
#include "templates.h"
#include "velnor_nat_NativeSession.h"

namespace {

/// The two handles of a new pair, public key first.
jlongArray newKeyPair(JNIEnv* env, CK_OBJECT_HANDLE hPubKey, CK_OBJECT_HANDLE hPriKey) {
  const jlongArray jhRSAKey = require(env->NewLongArray(2), "jhRSAKey is NULL");
  jboolean isCopy = JNI_FALSE;
  jlong* const hRSAKey = require(env->GetLongArrayElements(jhRSAKey, &isCopy), "hRSAKey is NULL");
  hRSAKey[0] = static_cast<jlong>(hPubKey);
  hRSAKey[1] = static_cast<jlong>(hPriKey);
  env->ReleaseLongArrayElements(jhRSAKey, hRSAKey, 0);
  return jhRSAKey;
}

}  // namespace

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeSession_J_1GenerateKey(JNIEnv* env, jobject jSession, jobject jMechanism,
                                                                     jobjectArray jKeyTemplate) {
  Template KeyTemplate = {};
  CK_MECHANISM Mechanism = {};
  CK_OBJECT_HANDLE hNewKey = CK_INVALID_HANDLE;
  LogFunction("J_GenerateKey - entry", CKR_OK);
  const bool generated = frame(env, "J_GenerateKey", [&] {
    Attribute2CKAttribute(env, jKeyTemplate, KeyTemplate);
    Mechanism2CKMechanism(env, jMechanism, &Mechanism);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    callModule(&CK_FUNCTION_LIST::C_GenerateKey, hSession, &Mechanism, KeyTemplate.entries, KeyTemplate.count,
               &hNewKey);
  });
  freeTemplate(KeyTemplate);
  FreeMechanism(&Mechanism);
  return handleOrNone(generated, hNewKey);
}

JNIEXPORT jlongArray JNICALL Java_velnor_nat_NativeSession_J_1GenerateKeyPair(JNIEnv* env, jobject jSession,
                                                                              jobject jMechanism,
                                                                              jobjectArray jPublicTemplate,
                                                                              jobjectArray jPrivateTemplate) {
  Template PublicTemplate = {};
  Template PrivateTemplate = {};
  CK_MECHANISM Mechanism = {};
  jlongArray jKeyPair = nullptr;
  LogFunction("J_GenerateKeyPair - entry", CKR_OK);
  frame(env, "J_GenerateKeyPair", [&] {
    Attribute2CKAttribute(env, jPublicTemplate, PublicTemplate);
    Attribute2CKAttribute(env, jPrivateTemplate, PrivateTemplate);
    Mechanism2CKMechanism(env, jMechanism, &Mechanism);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    CK_OBJECT_HANDLE hPubKey = CK_INVALID_HANDLE;
    CK_OBJECT_HANDLE hPriKey = CK_INVALID_HANDLE;
    callModule(&CK_FUNCTION_LIST::C_GenerateKeyPair, hSession, &Mechanism, PublicTemplate.entries, PublicTemplate.count,
               PrivateTemplate.entries, PrivateTemplate.count, &hPubKey, &hPriKey);
    jKeyPair = newKeyPair(env, hPubKey, hPriKey);
  });
  freeTemplate(PublicTemplate);
  freeTemplate(PrivateTemplate);
  FreeMechanism(&Mechanism);
  return jKeyPair;
}
