/// Messages: what version 3.0 brought for many of them under one key, each with a parameter of its own.
#include "functions.h"
#include "functions_tables.h"
#include "velnor_nat_NativeFunctions.h"

namespace {

#define MEMBER(name) &CK_FUNCTION_LIST_3_0::name,
constexpr CK_C_EncryptMessage CK_FUNCTION_LIST_3_0::*messageFunctions[] = {MESSAGE_FUNCTIONS(MEMBER)};
constexpr CK_C_EncryptMessageBegin CK_FUNCTION_LIST_3_0::*messageBeginFunctions[] = {MESSAGE_BEGIN_FUNCTIONS(MEMBER)};
constexpr CK_C_EncryptMessageNext CK_FUNCTION_LIST_3_0::*messagePartFunctions[] = {MESSAGE_PART_FUNCTIONS(MEMBER)};
constexpr CK_C_SignMessageBegin CK_FUNCTION_LIST_3_0::*signedBeginFunctions[] = {SIGNED_BEGIN_FUNCTIONS(MEMBER)};
constexpr CK_C_SignMessage CK_FUNCTION_LIST_3_0::*signMessageFunctions[] = {SIGN_MESSAGE_FUNCTIONS(MEMBER)};
constexpr CK_C_SignMessageNext CK_FUNCTION_LIST_3_0::*signPartFunctions[] = {SIGN_PART_FUNCTIONS(MEMBER)};
constexpr CK_C_VerifyMessage CK_FUNCTION_LIST_3_0::*verifyMessageFunctions[] = {VERIFY_MESSAGE_FUNCTIONS(MEMBER)};
#undef MEMBER

/// Runs `use` on the parameter of a message and on the message, or a part of it.
template <typename Use>
CK_RV withMessage(JNIEnv* env, jobject parameter, jbyteArray in, jint off, jint len, Use&& use) {
  return withStructure(env, parameter, [&](Bytes structure) {
    return withBytes(env, in, off, len, [&](Bytes input) { return use(structure, input); });
  });
}

}  // namespace

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_message(JNIEnv* env, jclass, jlong module, jint function,
                                                                jlong hSession, jobject parameter, jbyteArray aad,
                                                                jbyteArray in, jint inOff, jint inLen, jbyteArray out,
                                                                jint outOff, jint outLen) {
  Reported reported = {};
  const CK_RV Rv = call(module, messageFunctions, function, [&](auto entry) {
    return withMessage(env, parameter, in, inOff, inLen, [&](Bytes structure, Bytes input) {
      return withBytes(env, aad, [&](Bytes data) {
        return withRoom(env, out, outOff, outLen, reported, [&](CK_BYTE_PTR room, CK_ULONG_PTR length) {
          return entry(handle(hSession), structure.bytes, structure.length, data.bytes, data.length, input.bytes,
                       input.length, room, length);
        });
      });
    });
  });
  return lengthOrFailure(Rv, reported);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_messageBegin(JNIEnv* env, jclass, jlong module, jint function,
                                                                    jlong hSession, jobject parameter, jbyteArray aad) {
  return answer(call(module, messageBeginFunctions, function, [&](auto entry) {
    return withStructure(env, parameter, [&](Bytes structure) {
      return withBytes(env, aad, [&](Bytes data) {
        return entry(handle(hSession), structure.bytes, structure.length, data.bytes, data.length);
      });
    });
  }));
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_messagePart(JNIEnv* env, jclass, jlong module, jint function,
                                                                    jlong hSession, jobject parameter, jbyteArray in,
                                                                    jint inOff, jint inLen, jbyteArray out, jint outOff,
                                                                    jint outLen, jlong flags) {
  Reported reported = {};
  const CK_RV Rv = call(module, messagePartFunctions, function, [&](auto entry) {
    return withMessage(env, parameter, in, inOff, inLen, [&](Bytes structure, Bytes input) {
      return withRoom(env, out, outOff, outLen, reported, [&](CK_BYTE_PTR room, CK_ULONG_PTR length) {
        return entry(handle(hSession), structure.bytes, structure.length, input.bytes, input.length, room, length,
                     static_cast<CK_FLAGS>(flags));
      });
    });
  });
  return lengthOrFailure(Rv, reported);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_signedBegin(JNIEnv* env, jclass, jlong module, jint function,
                                                                   jlong hSession, jobject parameter) {
  return answer(call(module, signedBeginFunctions, function, [&](auto entry) {
    return withStructure(env, parameter,
                         [&](Bytes structure) { return entry(handle(hSession), structure.bytes, structure.length); });
  }));
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_signMessage(JNIEnv* env, jclass, jlong module, jint function,
                                                                    jlong hSession, jobject parameter, jbyteArray in,
                                                                    jint inOff, jint inLen, jbyteArray out, jint outOff,
                                                                    jint outLen) {
  Reported reported = {};
  const CK_RV Rv = call(module, signMessageFunctions, function, [&](auto entry) {
    return withMessage(env, parameter, in, inOff, inLen, [&](Bytes structure, Bytes input) {
      return withRoom(env, out, outOff, outLen, reported, [&](CK_BYTE_PTR room, CK_ULONG_PTR length) {
        return entry(handle(hSession), structure.bytes, structure.length, input.bytes, input.length, room, length);
      });
    });
  });
  return lengthOrFailure(Rv, reported);
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_signPart(JNIEnv* env, jclass, jlong module, jint function,
                                                                 jlong hSession, jobject parameter, jbyteArray in,
                                                                 jint inOff, jint inLen, jbyteArray out, jint outOff,
                                                                 jint outLen) {
  Reported reported = {};
  const CK_RV Rv = call(module, signPartFunctions, function, [&](auto entry) {
    return withMessage(env, parameter, in, inOff, inLen, [&](Bytes structure, Bytes input) {
      const auto sign = [&](CK_BYTE_PTR room, CK_ULONG_PTR length) {
        return entry(handle(hSession), structure.bytes, structure.length, input.bytes, input.length, room, length);
      };
      // The place of a length tells the last part from those before.
      return out == nullptr ? sign(nullptr, nullptr) : withRoom(env, out, outOff, outLen, reported, sign);
    });
  });
  return lengthOrFailure(Rv, reported);
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_verifyMessage(JNIEnv* env, jclass, jlong module, jint function,
                                                                     jlong hSession, jobject parameter, jbyteArray in,
                                                                     jint inOff, jint inLen, jbyteArray signature) {
  return answer(call(module, verifyMessageFunctions, function, [&](auto entry) {
    return withMessage(env, parameter, in, inOff, inLen, [&](Bytes structure, Bytes input) {
      return withBytes(env, signature, [&](Bytes signedWith) {
        return entry(handle(hSession), structure.bytes, structure.length, input.bytes, input.length, signedWith.bytes,
                     signedWith.length);
      });
    });
  }));
}
