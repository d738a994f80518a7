/// Sessions, logins and the functions of numbers alone.
#include "functions.h"
#include "functions_tables.h"
#include "velnor_nat_NativeFunctions.h"

namespace {

#define MEMBER(name) &CK_FUNCTION_LIST_3_0::name,
constexpr CK_C_CloseSession CK_FUNCTION_LIST_3_0::*numberFunctions[] = {NUMBER_FUNCTIONS(MEMBER)};
constexpr CK_C_DestroyObject CK_FUNCTION_LIST_3_0::*numbersFunctions[] = {NUMBERS_FUNCTIONS(MEMBER)};
#undef MEMBER

constexpr CK_ULONG kLabelLength = 32;

}  // namespace

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_openSession(JNIEnv* env, jclass, jlong module, jlong slotID,
                                                                   jlong flags, jlongArray session) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_OpenSession, [&](auto C_OpenSession) {
    return withResults<1>(env, session, [&](CK_SESSION_HANDLE_PTR phSession) {
      const CK_RV Rv = C_OpenSession(handle(slotID), handle(flags), nullptr, nullptr, phSession);
      const C_SetCallBack_t setCallBack = findModule(module)->setCallBack;
      if (Rv == CKR_OK && setCallBack != nullptr) {
        guarded([&] {
          installSignerPinCallback(setCallBack);
          return CKR_OK;  // a module that refuses the callback must not fail the session
        });
      }
      return Rv;
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_login(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                             jlong userType, jbyteArray pin) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_Login, [&](auto C_Login) {
    return withBytes(env, pin,
                     [&](Bytes Pin) { return C_Login(handle(hSession), handle(userType), Pin.bytes, Pin.length); });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_loginUser(JNIEnv* env, jclass, jlong module, jlong hSession,
                                                                 jlong userType, jbyteArray pin, jbyteArray name) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_LoginUser, [&](auto C_LoginUser) {
    return withBytes(env, pin, [&](Bytes Pin) {
      return withBytes(env, name, [&](Bytes Username) {
        return C_LoginUser(handle(hSession), handle(userType), Pin.bytes, Pin.length, Username.bytes, Username.length);
      });
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_initToken(JNIEnv* env, jclass, jlong module, jlong slotID,
                                                                 jbyteArray pin, jbyteArray label) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_InitToken, [&](auto C_InitToken) {
    return withBytes(env, pin, [&](Bytes Pin) {
      return withBytes(env, label, [&](Bytes Label) {
        return Label.length != kLabelLength ? CKR_ARGUMENTS_BAD
                                            : C_InitToken(handle(slotID), Pin.bytes, Pin.length, Label.bytes);
      });
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_setOperationState(JNIEnv* env, jclass, jlong module,
                                                                         jlong hSession, jbyteArray state,
                                                                         jlong encryptionKey, jlong authenticationKey) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_SetOperationState, [&](auto C_SetOperationState) {
    return withBytes(env, state, [&](Bytes saved) {
      return C_SetOperationState(handle(hSession), saved.bytes, saved.length, handle(encryptionKey),
                                 handle(authenticationKey));
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_number(JNIEnv*, jclass, jlong module, jint function,
                                                              jlong number) {
  return answer(call(module, numberFunctions, function, [&](auto entry) { return entry(handle(number)); }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_numbers(JNIEnv*, jclass, jlong module, jint function,
                                                               jlong hSession, jlong number) {
  return answer(
      call(module, numbersFunctions, function, [&](auto entry) { return entry(handle(hSession), handle(number)); }));
}
