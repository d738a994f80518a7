/// Loads that run out of memory: the module is bound all the same, without what the memory was wanted for.
#include "allocations.h"
#include "module_copies.h"
#include "native_test.h"

namespace {

class LoadAllocationsTest : public UnboundTest {
protected:
  LoadAllocationsTest() { directory.write("module.so.conf", "DsPinIsCNSPin=true"); }

  /// Loads with the n-th allocation failing; false when the load asked for fewer.
  bool loadWithout(unsigned n, jstring name) {
    sLibFullPath[0] = '#';
    AllocationScope scope;
    scope.failNth(n);
    Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary(jni, nullptr, name);
    return !scope.failureLeft();
  }

  const ModuleDirectory directory;
  const std::string library = directory.copy(module.path(), "module.so");
};

TEST_F(LoadAllocationsTest, AbsoluteNameNeedsMemoryForItsPathAndItsConfiguration) {
  const jstring name = env.string("library", library);
  ASSERT_TRUE(loadWithout(1, name));
  EXPECT_NE(functionList, nullptr);
  EXPECT_STREQ(sLibFullPath, "");
  EXPECT_TRUE(g_bIsSecondAuthenticationRequired);

  ASSERT_TRUE(loadWithout(2, name));
  EXPECT_NE(functionList, nullptr);
  EXPECT_EQ(library, sLibFullPath);
  EXPECT_TRUE(g_bIsSecondAuthenticationRequired);

  EXPECT_FALSE(loadWithout(3, name));
  EXPECT_EQ(library, sLibFullPath);
  EXPECT_FALSE(g_bIsSecondAuthenticationRequired);
  EXPECT_EQ(env.pending(), "");
}

TEST_F(LoadAllocationsTest, RelativeNameNeedsMemoryForTheProcessMapToo) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(directory.path().parent_path());
  const jstring name = env.string("library", (directory.path().filename() / "module.so").string());
  unsigned withoutPath = 0;
  unsigned n = 1;
  for (; loadWithout(n, name); ++n) {
    EXPECT_NE(functionList, nullptr) << n;
    EXPECT_TRUE(g_bIsSecondAuthenticationRequired) << n;
    withoutPath += sLibFullPath[0] == '\0' ? 1 : 0;
    EXPECT_TRUE(sLibFullPath[0] == '\0' || sLibFullPath == library) << n;
  }
  std::filesystem::current_path(before);
  EXPECT_FALSE(g_bIsSecondAuthenticationRequired);
  EXPECT_EQ(n, withoutPath + 2) << "all but the last failure, the configuration's, cost the path";
  EXPECT_GT(withoutPath, 2U);
  EXPECT_EQ(env.pending(), "");
}

TEST_F(LoadAllocationsTest, FailureIsReportedEvenWithoutMemoryToRaiseIt) {
  ASSERT_TRUE(loadWithout(1, nullptr));
  EXPECT_EQ(env.pendingReport()->message, "No cryptoki library specified");
}

TEST_F(LoadAllocationsTest, FailedLoadsKeepNothing) {
  for (const char* const failing : {modules::kNoFunctionList, modules::kListFails, "/no/such/module.so"}) {
    EXPECT_FALSE(loadWithout(1000, env.string("library", std::string(failing))));
    EXPECT_NE(env.pending(), "");
  }
}

TEST_F(LoadAllocationsTest, PathThatDoesNotFitIsNotKept) {
  const CurrentDirectory here(directory.path());
  const jstring name = env.string("library", copyDeep(module.path(), sizeof sLibFullPath));
  EXPECT_FALSE(loadWithout(1000, name));
  EXPECT_EQ(env.pendingReport()->message, "full path of the pkcs#11 library is too long");
}

}  // namespace
