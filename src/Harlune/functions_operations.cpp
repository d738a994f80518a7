/// Cryptographic operations: beginning them with a mechanism, and bytes in and out.
#include "functions.h"
#include "functions_tables.h"
#include "velnor_nat_NativeFunctions.h"

namespace {

#define MEMBER(name) &CK_FUNCTION_LIST_3_0::name,
constexpr CK_C_DigestUpdate CK_FUNCTION_LIST_3_0::*bytesFunctions[] = {BYTES_FUNCTIONS(MEMBER)};
constexpr CK_C_Verify CK_FUNCTION_LIST_3_0::*twoBytesFunctions[] = {TWO_BYTES_FUNCTIONS(MEMBER)};
constexpr CK_C_GenerateRandom CK_FUNCTION_LIST_3_0::*fillFunctions[] = {FILL_FUNCTIONS(MEMBER)};
constexpr CK_C_Encrypt CK_FUNCTION_LIST_3_0::*processFunctions[] = {PROCESS_FUNCTIONS(MEMBER)};
constexpr CK_C_EncryptFinal CK_FUNCTION_LIST_3_0::*outputFunctions[] = {OUTPUT_FUNCTIONS(MEMBER)};
constexpr CK_C_DigestInit CK_FUNCTION_LIST_3_0::*initFunctions[] = {INIT_FUNCTIONS(MEMBER)};
constexpr CK_C_EncryptInit CK_FUNCTION_LIST_3_0::*keyedInitFunctions[] = {KEYED_INIT_FUNCTIONS(MEMBER)};
#undef MEMBER

// Each of these takes arrays, or direct buffers in their place: `withBytes` and `withRoom` know which.

template <typename In>
jint takeBytes(JNIEnv* env, jlong module, jint function, jlong hSession, In in, jint off, jint len) {
  return answer(call(module, bytesFunctions, function, [&](auto entry) {
    return withBytes(env, in, off, len,
                     [&](Bytes input) { return entry(handle(hSession), input.bytes, input.length); });
  }));
}

template <typename In>
jint takeTwoBytes(JNIEnv* env, jlong module, jint function, jlong hSession, In one, jint oneOff, jint oneLen,
                  jbyteArray other, jint otherOff, jint otherLen) {
  return answer(call(module, twoBytesFunctions, function, [&](auto entry) {
    return withBytes(env, one, oneOff, oneLen, [&](Bytes first) {
      return withBytes(env, other, otherOff, otherLen, [&](Bytes second) {
        return entry(handle(hSession), first.bytes, first.length, second.bytes, second.length);
      });
    });
  }));
}

template <typename Out>
jint fill(JNIEnv* env, jlong module, jint function, jlong hSession, Out out, jint off, jint len) {
  return answer(call(module, fillFunctions, function, [&](auto entry) {
    Reported reported = {};
    return withRoom(env, out, off, len, reported,
                    [&](CK_BYTE_PTR room, CK_ULONG_PTR length) { return entry(handle(hSession), room, *length); });
  }));
}

template <typename In, typename Out>
jlong process(JNIEnv* env, jlong module, jint function, jlong hSession, In in, jint inOff, jint inLen, Out out,
              jint outOff, jint outLen) {
  Reported reported = {};
  const CK_RV Rv = call(module, processFunctions, function, [&](auto entry) {
    return withBytes(env, in, inOff, inLen, [&](Bytes input) {
      return withRoom(env, out, outOff, outLen, reported, [&](CK_BYTE_PTR room, CK_ULONG_PTR length) {
        return entry(handle(hSession), input.bytes, input.length, room, length);
      });
    });
  });
  return lengthOrFailure(Rv, reported);
}

template <typename Out>
jlong output(JNIEnv* env, jlong module, jint function, jlong hSession, Out out, jint outOff, jint outLen) {
  Reported reported = {};
  const CK_RV Rv = call(module, outputFunctions, function, [&](auto entry) {
    return withRoom(env, out, outOff, outLen, reported,
                    [&](CK_BYTE_PTR room, CK_ULONG_PTR length) { return entry(handle(hSession), room, length); });
  });
  return lengthOrFailure(Rv, reported);
}

}  // namespace

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_bytes(JNIEnv* env, jclass, jlong module, jint function,
                                                             jlong hSession, jbyteArray in, jint off, jint len) {
  return takeBytes(env, module, function, hSession, in, off, len);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_bytesDirect(JNIEnv* env, jclass, jlong module, jint function,
                                                                   jlong hSession, jobject in, jint off, jint len) {
  return takeBytes(env, module, function, hSession, in, off, len);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_twoBytes(JNIEnv* env, jclass, jlong module, jint function,
                                                                jlong hSession, jbyteArray one, jint oneOff,
                                                                jint oneLen, jbyteArray other, jint otherOff,
                                                                jint otherLen) {
  return takeTwoBytes(env, module, function, hSession, one, oneOff, oneLen, other, otherOff, otherLen);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_twoBytesDirect(JNIEnv* env, jclass, jlong module, jint function,
                                                                      jlong hSession, jobject one, jint oneOff,
                                                                      jint oneLen, jbyteArray other, jint otherOff,
                                                                      jint otherLen) {
  return takeTwoBytes(env, module, function, hSession, one, oneOff, oneLen, other, otherOff, otherLen);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_fill(JNIEnv* env, jclass, jlong module, jint function,
                                                            jlong hSession, jbyteArray out, jint off, jint len) {
  return fill(env, module, function, hSession, out, off, len);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_fillDirect(JNIEnv* env, jclass, jlong module, jint function,
                                                                  jlong hSession, jobject out, jint off, jint len) {
  return fill(env, module, function, hSession, out, off, len);
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_process(JNIEnv* env, jclass, jlong module, jint function,
                                                                jlong hSession, jbyteArray in, jint inOff, jint inLen,
                                                                jbyteArray out, jint outOff, jint outLen) {
  return process(env, module, function, hSession, in, inOff, inLen, out, outOff, outLen);
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_processDirect(JNIEnv* env, jclass, jlong module, jint function,
                                                                      jlong hSession, jobject in, jint inOff,
                                                                      jint inLen, jobject out, jint outOff,
                                                                      jint outLen) {
  return process(env, module, function, hSession, in, inOff, inLen, out, outOff, outLen);
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_output(JNIEnv* env, jclass, jlong module, jint function,
                                                               jlong hSession, jbyteArray out, jint outOff,
                                                               jint outLen) {
  return output(env, module, function, hSession, out, outOff, outLen);
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_outputDirect(JNIEnv* env, jclass, jlong module, jint function,
                                                                     jlong hSession, jobject out, jint outOff,
                                                                     jint outLen) {
  return output(env, module, function, hSession, out, outOff, outLen);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_init(JNIEnv* env, jclass, jlong module, jint function,
                                                            jlong hSession, jlong mechanism, jobject parameter) {
  return answer(call(module, initFunctions, function, [&](auto entry) {
    return withMechanism(env, mechanism, parameter,
                         [&](CK_MECHANISM_PTR pMechanism) { return entry(handle(hSession), pMechanism); });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_keyedInit(JNIEnv* env, jclass, jlong module, jint function,
                                                                 jlong hSession, jlong mechanism, jobject parameter,
                                                                 jlong hKey) {
  return answer(call(module, keyedInitFunctions, function, [&](auto entry) {
    return withMechanism(env, mechanism, parameter, [&](CK_MECHANISM_PTR pMechanism) {
      return entry(handle(hSession), pMechanism, handle(hKey));
    });
  }));
}
