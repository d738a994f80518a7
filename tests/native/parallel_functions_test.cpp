/// The two calls for functions that run in parallel.
#include "method_path.h"

namespace {

MethodPath parallelPath(const std::string& name, void(JNICALL* method)(JNIEnv*, jobject), const std::string& function) {
  return sessionPath(name, method, function + " session=0x5E51 -> CKR_OK",
                     [function](PathTest& t) { t.module.answer(function + " CKR_OK always"); });
}

std::vector<MethodPath> parallelPaths() {
  return {
      parallelPath("J_GetFunctionStatus", Java_velnor_nat_NativeSession_J_1GetFunctionStatus, "C_GetFunctionStatus"),
      parallelPath("J_CancelFunction", Java_velnor_nat_NativeSession_J_1CancelFunction, "C_CancelFunction"),
  };
}

INSTANTIATE_METHOD_PATHS(ParallelFunctions, parallelPaths());

class ParallelFunctionsTest : public NativeTest {};

TEST_F(ParallelFunctionsTest, TellsTheStatusOfAFunctionAsAnExceptionOnly) {
  Java_velnor_nat_NativeSession_J_1GetFunctionStatus(jni, session);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_GetFunctionStatus\", 81, \"FUNCTION NOT PARALLEL             \")");
  Java_velnor_nat_NativeSession_J_1CancelFunction(jni, session);
  EXPECT_EQ(env.pending(), "CryptokiException(\"J_CancelFunction\", 81, \"FUNCTION NOT PARALLEL             \")");
}

}  // namespace
