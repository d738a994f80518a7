/// Keys: generating, wrapping, unwrapping and deriving them.
#include "functions.h"
#include "velnor_nat_NativeFunctions.h"

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_generateKey(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                                   jlong mechanism, jbyteArray parameter,
                                                                   jbyteArray attributes, jlongArray key) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_GenerateKey, [&](auto C_GenerateKey) {
    return withResults<1>(env, key, [&](CK_OBJECT_HANDLE_PTR phKey) {
      return withMechanism(env, mechanism, parameter, [&](CK_MECHANISM_PTR pMechanism) {
        return withTemplate(env, attributes, [&](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
          return C_GenerateKey(handle(hSession), pMechanism, pTemplate, ulCount, phKey);
        });
      });
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_generateKeyPair(JNIEnv* env, jclass, jlong module,
                                                                       jlong hSession, jlong mechanism,
                                                                       jbyteArray parameter,
                                                                       jbyteArray publicAttributes,
                                                                       jbyteArray privateAttributes, jlongArray keys) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_GenerateKeyPair, [&](auto C_GenerateKeyPair) {
    return withResults<2>(env, keys, [&](CK_OBJECT_HANDLE_PTR phKeys) {
      return withMechanism(env, mechanism, parameter, [&](CK_MECHANISM_PTR pMechanism) {
        return withTemplate(env, publicAttributes, [&](CK_ATTRIBUTE_PTR pPublic, CK_ULONG ulPublicCount) {
          return withTemplate(env, privateAttributes, [&](CK_ATTRIBUTE_PTR pPrivate, CK_ULONG ulPrivateCount) {
            return C_GenerateKeyPair(handle(hSession), pMechanism, pPublic, ulPublicCount, pPrivate, ulPrivateCount,
                                     &phKeys[0], &phKeys[1]);
          });
        });
      });
    });
  }));
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_wrapKey(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                                jlong mechanism, jbyteArray parameter,
                                                                jlong hWrappingKey, jlong hKey, jbyteArray out) {
  Reported reported = {};
  const CK_RV Rv = callOnly(module, &CK_FUNCTION_LIST_3_0::C_WrapKey, [&](auto C_WrapKey) {
    return withMechanism(env, mechanism, parameter, [&](CK_MECHANISM_PTR pMechanism) {
      return withRoom(env, out, reported, [&](CK_BYTE_PTR pWrappedKey, CK_ULONG_PTR pulWrappedKeyLen) {
        return C_WrapKey(handle(hSession), pMechanism, handle(hWrappingKey), handle(hKey), pWrappedKey,
                         pulWrappedKeyLen);
      });
    });
  });
  return lengthOrFailure(Rv, reported);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_unwrapKey(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                                 jlong mechanism, jbyteArray parameter,
                                                                 jlong hUnwrappingKey, jbyteArray wrapped, jint off,
                                                                 jint len, jbyteArray attributes, jlongArray key) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_UnwrapKey, [&](auto C_UnwrapKey) {
    return withResults<1>(env, key, [&](CK_OBJECT_HANDLE_PTR phKey) {
      return withMechanism(env, mechanism, parameter, [&](CK_MECHANISM_PTR pMechanism) {
        return withBytes(env, wrapped, off, len, [&](Bytes wrappedKey) {
          return withTemplate(env, attributes, [&](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
            return C_UnwrapKey(handle(hSession), pMechanism, handle(hUnwrappingKey), wrappedKey.bytes,
                               wrappedKey.length, pTemplate, ulCount, phKey);
          });
        });
      });
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_deriveKey(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                                 jlong mechanism, jbyteArray parameter, jlong hBaseKey,
                                                                 jbyteArray attributes, jlongArray key) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_DeriveKey, [&](auto C_DeriveKey) {
    return withResults<1>(env, key, [&](CK_OBJECT_HANDLE_PTR phKey) {
      return withMechanism(env, mechanism, parameter, [&](CK_MECHANISM_PTR pMechanism) {
        return withTemplate(env, attributes, [&](CK_ATTRIBUTE_PTR pTemplate, CK_ULONG ulCount) {
          return C_DeriveKey(handle(hSession), pMechanism, handle(hBaseKey), pTemplate, ulCount, phKey);
        });
      });
    });
  }));
}
