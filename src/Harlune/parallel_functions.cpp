/// The two calls for functions that run in parallel to the application.
#include "harlune.h"
#include "lookups.h"
#include "velnor_nat_NativeSession.h"

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1GetFunctionStatus(JNIEnv* env, jobject jSession) {
  frame(env, "J_GetFunctionStatus",
        [&] { callModule(&CK_FUNCTION_LIST::C_GetFunctionStatus, getSessionHandle(env, jSession)); });
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1CancelFunction(JNIEnv* env, jobject jSession) {
  frame(env, "J_CancelFunction",
        [&] { callModule(&CK_FUNCTION_LIST::C_CancelFunction, getSessionHandle(env, jSession)); });
}
