/// Random bytes from the token, with an optional seed.
#include "harlune.h"
#include "loans.h"
#include "velnor_nat_NativeSession.h"

CK_RV J_SeedRandom(JNIEnv* env, CK_SESSION_HANDLE hSession, jbyteArray jSeed) {
  ByteElements Seed = {};
  CK_RV Rv = CKR_OK;
  frame(env, "J_SeedRandom", [&] {
    borrowInput(env, Seed, jSeed, "Seed is NULL");
    const CK_ULONG seedLen = widen(env->GetArrayLength(jSeed));
    Rv = invoke(&CK_FUNCTION_LIST::C_SeedRandom, hSession, at(Seed, 0), seedLen);
    requireOk(Rv);
  });
  giveBack(env, Seed, JNI_ABORT);
  return Rv;
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1GenerateRandom(JNIEnv* env, jobject, jlong jSession,
                                                                       jboolean bSeed, jbyteArray jSeed,
                                                                       jbyteArray jRandom, jint randOff, jint randLen) {
  ByteElements Random = {};
  frame(env, "J_GenerateRandom", [&] {
    // A missing seed is reported but stops nothing: only a seed that the token refuses does.
    if (bSeed != JNI_FALSE && J_SeedRandom(env, handle(jSession), jSeed) != CKR_OK) {
      return;
    }
    borrowInput(env, Random, jRandom, "Random is NULL");
    callModule(&CK_FUNCTION_LIST::C_GenerateRandom, handle(jSession), at(Random, randOff), widen(randLen));
  });
  giveBack(env, Random, 0);
}
