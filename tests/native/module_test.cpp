/// Loading a module: the order of the steps, what a failed load leaves, and which modules stay mapped.
#include "module_copies.h"
#include "native_test.h"

#include <dlfcn.h>
#include <map>

namespace {

jvm::RecordingEnv* listening = nullptr;
std::map<void*, std::string> opened;
bool loaderIsSilent = false;
bool copyFails = false;

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// All of them are looked up at the first need: a look-up takes the loader's last error away.
struct Real {
  void* (*dlopen)(const char*, int) = next<void*(const char*, int)>("dlopen");
  int (*dlclose)(void*) = next<int(void*)>("dlclose");
  char* (*dlerror)() = next<char*()>("dlerror");
  char* (*strdup)(const char*) = next<char*(const char*)>("strdup");
};

const Real& real() {
  static const Real functions;
  return functions;
}

}  // namespace

// In the place of the functions that the library calls: they note the call and let it through.
#define IN_PLACE extern "C" __attribute__((visibility("default")))

IN_PLACE void* dlopen(const char* file, int mode) noexcept {
  void* const handle = real().dlopen(file, mode);
  if (listening != nullptr) {
    listening->note("dlopen " + std::string(file) + " mode " + std::to_string(mode) +
                    (handle == nullptr ? " -> null" : ""));
    opened[handle] = file;
  }
  return handle;
}

IN_PLACE int dlclose(void* handle) noexcept {
  if (listening != nullptr) {
    listening->note("dlclose " + opened[handle] + (functionList == nullptr && !bInitialized ? " unbound" : " bound"));
  }
  return real().dlclose(handle);
}

IN_PLACE char* dlerror() noexcept {
  return loaderIsSilent ? nullptr : real().dlerror();
}

IN_PLACE char* strdup(const char* text) noexcept {
  return copyFails ? nullptr : real().strdup(text);
}

namespace {

/// The library's state before anything has touched it.
const struct FreshState {
  CK_FUNCTION_LIST_PTR list = functionList;
  void* handle = hLibModule;
  std::string name = std::string(sLibName, sizeof sLibName);
  std::string fullPath = std::string(sLibFullPath, sizeof sLibFullPath);
  int freeLib = freeLibrary;
  bool initialized = bInitialized;
  C_SetCallBack_t setCallBack = pC_SetCallBack;
  bool secondAuthentication = g_bIsSecondAuthenticationRequired;
  std::string pin = std::string(reinterpret_cast<const char*>(g_SignerPin), sizeof g_SignerPin);
  CK_VERSION version = libVersion;
} fresh;

TEST(LibraryStateTest, IsZeroUntilTheFirstLoadButForTheFlagAndTheVersion) {
  EXPECT_EQ(fresh.list, nullptr);
  EXPECT_EQ(fresh.handle, nullptr);
  EXPECT_EQ(fresh.name, std::string(1024, '\0'));
  EXPECT_EQ(fresh.fullPath, std::string(4096, '\0'));
  EXPECT_EQ(fresh.freeLib, 0);
  EXPECT_FALSE(fresh.initialized);
  EXPECT_EQ(fresh.setCallBack, nullptr);
  EXPECT_TRUE(fresh.secondAuthentication);
  EXPECT_EQ(fresh.pin, std::string(20, '\0'));
  EXPECT_EQ(fresh.version.major, 1);
  EXPECT_EQ(fresh.version.minor, 2);
}

std::string loaderError(const std::string& file) {
  if (void* const handle = dlopen(file.c_str(), RTLD_LAZY)) {
    dlclose(handle);
    ADD_FAILURE() << file << " can be loaded";
    return "";
  }
  return dlerror();
}

class LoaderTest : public UnboundTest {
protected:
  LoaderTest() { listening = &env; }
  ~LoaderTest() override {
    listening = nullptr;
    opened.clear();
    loaderIsSilent = false;
    copyFails = false;
  }

  void callLoader(jstring name, jboolean freeLib = JNI_TRUE, jboolean changedir = JNI_FALSE) {
    Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary3(jni, NativeCryptoki, name, freeLib, changedir);
  }
  void callLoader(const std::string& name, jboolean freeLib = JNI_TRUE, jboolean changedir = JNI_FALSE) {
    callLoader(env.string("library", name), freeLib, changedir);
  }

  void expectUnbound() {
    EXPECT_EQ(functionList, nullptr);
    EXPECT_FALSE(bInitialized);
  }

  const jclass NativeCryptoki = env.classOf("velnor/nat/NativeCryptoki");
  const std::string path = module.path();
  ModuleDirectory directory;
};

// --- The steps of a load ---------------------------------------------------------------------------------------------

TEST_F(LoaderTest, FirstLoadOpensTheModuleLazilyAndTakesItsFunctionList) {
  callLoader(path);
  EXPECT_TRACE(R"(
    GetStringUTFChars library
    dlopen )" + path +
               R"( mode 1
    C_GetFunctionList -> CKR_OK
    ReleaseStringUTFChars library
  )");
  EXPECT_EQ(env.pending(), "");
  ASSERT_NE(hLibModule, nullptr);
  CK_FUNCTION_LIST_PTR list = nullptr;
  reinterpret_cast<CK_C_GetFunctionList>(dlsym(hLibModule, "C_GetFunctionList"))(&list);
  EXPECT_NE(list, nullptr);
  EXPECT_EQ(functionList, list);
  EXPECT_FALSE(bInitialized);
  EXPECT_EQ(path, sLibName);
  EXPECT_EQ(path, sLibFullPath);
  EXPECT_EQ(freeLibrary, 1);
}

TEST_F(LoaderTest, NextLoadFinalizesThePredecessorThenClosesItThenOpensTheNewOne) {
  load(module.path());
  initialize();
  callLoader(path);
  EXPECT_TRACE(R"(
    GetStringUTFChars library
    C_Finalize reserved=null -> CKR_OK
    dlclose )" +
               path + R"( unbound
    dlopen )" + path +
               R"( mode 1
    C_GetFunctionList -> CKR_OK
    ReleaseStringUTFChars library
  )");
  EXPECT_FALSE(bInitialized);
}

// Whether the predecessor was initialised is the module's to know, so its answer does not matter.
TEST_F(LoaderTest, FinalizesAlsoAModuleThatWasNeverInitialised) {
  load(module.path());
  callLoader(path);
  EXPECT_MODULE_TRACE(R"(
    C_Finalize reserved=null -> CKR_CRYPTOKI_NOT_INITIALIZED
    C_GetFunctionList -> CKR_OK
  )");
  EXPECT_EQ(env.pending(), "");
}

TEST_F(LoaderTest, GoesOnWhenThePredecessorRefusesToFinalize) {
  load(module.path());
  initialize();
  module.answer("C_Finalize CKR_DEVICE_ERROR");
  callLoader(path);
  EXPECT_EQ(env.pending(), "");
  EXPECT_NE(functionList, nullptr);
  EXPECT_FALSE(bInitialized);
}

TEST_F(LoaderTest, NeverCallsAnEmptyFinalizeEntry) {
  load(modules::kListEmpty);
  callLoader(path);
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(path, sLibName);
}

TEST_F(LoaderTest, TakesNoNoticeOfTheDirectoryFlag) {
  const std::filesystem::path before = std::filesystem::current_path();
  callLoader(path, JNI_TRUE, JNI_TRUE);
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(std::filesystem::current_path(), before);
  EXPECT_NE(functionList, nullptr);
}

TEST_F(LoaderTest, ShortestLoaderAsksToFreeThePredecessor) {
  Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary(jni, NativeCryptoki, env.string("library", path));
  EXPECT_EQ(freeLibrary, 1);
  EXPECT_EQ(path, sLibName);
}

TEST_F(LoaderTest, MiddleLoaderPassesItsChoiceOn) {
  for (const int freeLib : {JNI_FALSE, JNI_TRUE}) {
    Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary2(jni, NativeCryptoki, env.string("library", path),
                                                        static_cast<jboolean>(freeLib));
    EXPECT_EQ(freeLibrary, freeLib);
    EXPECT_EQ(path, sLibName);
  }
}

TEST_F(LoaderTest, RemembersTheNameAsTheCallerSpelledIt) {
  const std::string spelled = directory.path().string() + "/./../" + directory.path().filename().string() + "//m.so";
  directory.copy(module.path(), "m.so");
  callLoader(spelled);
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(spelled, sLibName);
  EXPECT_EQ(spelled, sLibFullPath);
}

// --- Which modules stay mapped ---------------------------------------------------------------------------------------

TEST_F(LoaderTest, UnmapsThePredecessorWhenAskedTo) {
  const std::string first = directory.copy(module.path(), "first.so");
  const std::string second = directory.copy(module.path(), "second.so");
  load(first.c_str(), false);
  EXPECT_TRUE(isMapped(first));
  load(second.c_str(), true);
  EXPECT_FALSE(isMapped(first));
  EXPECT_TRUE(isMapped(second));
}

// Callers that load this way still hold pointers into the predecessor; its handle is dropped on purpose.
TEST_F(LoaderTest, KeepsThePredecessorMappedWhenNotAskedToFreeIt) {
  const std::string first = directory.copy(module.path(), "first.so");
  const std::string second = directory.copy(module.path(), "second.so");
  load(first.c_str(), true);
  void* const predecessor = hLibModule;
  load(second.c_str(), false);
  EXPECT_TRUE(isMapped(first));
  EXPECT_NE(hLibModule, predecessor);
  EXPECT_EQ(freeLibrary, 0);
  load(second.c_str(), true);
  EXPECT_TRUE(isMapped(first)) << "a handle that was dropped is not closed later";
  ASSERT_EQ(dlclose(predecessor), 0);
  EXPECT_FALSE(isMapped(first));
}

TEST_F(LoaderTest, OpensTheSameFileAnewWithoutCollectingHandles) {
  const std::string file = directory.copy(module.path(), "m.so");
  load(file.c_str());
  load(file.c_str());
  ASSERT_EQ(dlclose(hLibModule), 0);
  hLibModule = nullptr;
  functionList = nullptr;
  EXPECT_FALSE(isMapped(file));
}

// --- Failures --------------------------------------------------------------------------------------------------------

TEST_F(LoaderTest, NoNameIsReportedAfterThePredecessorWasFinalizedAndBeforeItIsClosed) {
  load(module.path());
  initialize();
  callLoader(jstring(nullptr));
  EXPECT_TRACE(R"(
    C_Finalize reserved=null -> CKR_OK
    report "loadCryptokiLibrary" 5 "No cryptoki library specified"
  )");
  expectUnbound();
  EXPECT_NE(hLibModule, nullptr);
  callLoader(path);
  EXPECT_TRACE(R"(
    GetStringUTFChars library
    dlclose )" +
               path + R"( unbound
    dlopen )" + path +
               R"( mode 1
    C_GetFunctionList -> CKR_OK
    ReleaseStringUTFChars library
  )");
}

TEST_F(LoaderTest, RefusedCharactersCountAsNoNameAndAreNotGivenBack) {
  env.failNext("GetStringUTFChars", jvm::Leaving::Exception);
  callLoader(path);
  EXPECT_TRACE(R"(
    GetStringUTFChars library -> null
    report "loadCryptokiLibrary" 5 "No cryptoki library specified"
  )");
}

TEST_F(LoaderTest, MissingFileIsReportedWithTheLoadersText) {
  const std::string missing = directory / "missing.so";
  const std::string reason = loaderError(missing);
  env.clear();
  load(module.path());
  callLoader(missing);
  EXPECT_TRACE(R"(
    GetStringUTFChars library
    C_Finalize reserved=null -> CKR_CRYPTOKI_NOT_INITIALIZED
    dlclose )" +
               path + R"( unbound
    dlopen )" + missing +
               R"( mode 1 -> null
    report "loadCryptokiLibrary" 5 "error loading pkcs#11 library: )" +
               reason + R"("
    ReleaseStringUTFChars library
  )");
  expectUnbound();
  EXPECT_EQ(hLibModule, nullptr);
}

TEST_F(LoaderTest, FileThatIsNoLibraryIsReportedWithTheLoadersText) {
  const std::string text = directory.write("text.so", "not a library\n");
  const std::string reason = loaderError(text);
  callLoader(text);
  EXPECT_EQ(env.pendingReport()->message, "error loading pkcs#11 library: " + reason);
}

TEST_F(LoaderTest, LoadersTextIsCutToTheBufferItIsComposedIn) {
  const std::string missing =
      directory / std::string(200, 'd') + "/" + std::string(200, 'e') + "/" + std::string(200, 'f');
  const std::string whole = "error loading pkcs#11 library: " + loaderError(missing);
  ASSERT_GT(whole.size(), 512U);
  callLoader(missing);
  EXPECT_EQ(env.pendingReport()->message, whole.substr(0, 511));
}

TEST_F(LoaderTest, SilentLoaderIsReportedWithoutAReason) {
  loaderIsSilent = true;
  callLoader(directory / "missing.so");
  EXPECT_EQ(env.pending(), R"(CryptokiException("loadCryptokiLibrary", 5, "error loading pkcs#11 library"))");
}

TEST_F(LoaderTest, ModuleWithoutAFunctionListEntryIsReported) {
  callLoader(modules::kNoFunctionList);
  EXPECT_TRACE(R"(
    GetStringUTFChars library
    dlopen )" + std::string(modules::kNoFunctionList) +
               R"( mode 1
    report "loadCryptokiLibrary" 5 "C_GetFunctionList function not found in pkcs#11 library"
    ReleaseStringUTFChars library
  )");
  expectUnbound();
  EXPECT_NE(hLibModule, nullptr) << "the module stays open";
}

// The list that such a module leaves behind may point anywhere.
TEST_F(LoaderTest, FailingFunctionListIsReportedAndNotTakenOver) {
  callLoader(modules::kListFails);
  EXPECT_TRACE(R"(
    GetStringUTFChars library
    dlopen )" + std::string(modules::kListFails) +
               R"( mode 1
    report "loadCryptokiLibrary" 0x6
    ReleaseStringUTFChars library
  )");
  expectUnbound();
  EXPECT_NE(hLibModule, nullptr) << "the module stays open";
}

TEST_F(LoaderTest, ModulesOwnCodeIsReported) {
  module.answer("C_GetFunctionList 0x80000123");
  callLoader(path);
  EXPECT_EQ(env.pendingReport()->code, static_cast<jint>(0x80000123U));
  expectUnbound();
}

TEST_F(LoaderTest, ModuleThatHandsOutNoListIsLoadedButNeverCalled) {
  callLoader(modules::kListNull);
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(std::string(modules::kListNull), sLibName);
  expectUnbound();
  Java_velnor_nat_NativeCryptoki_Initialize(jni, cryptoki, nullptr);
  EXPECT_EQ(env.pendingReport()->code, 400);
}

std::string nameOfLength(const ModuleDirectory& directory, std::size_t length) {
  std::string name = directory.path().string() + "/";
  const std::string file = "m.so";
  while (name.size() + file.size() + 2 <= length) {
    name += "./";
  }
  return name + (name.size() + file.size() < length ? "/" : "") + file;
}

TEST_F(LoaderTest, NameThatJustFitsIsRemembered) {
  directory.copy(module.path(), "m.so");
  const std::string name = nameOfLength(directory, 1023);
  ASSERT_EQ(name.size(), 1023U);
  callLoader(name);
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(name, sLibName);
}

TEST_F(LoaderTest, NameThatDoesNotFitIsRefusedBeforeTheModuleIsOpened) {
  directory.copy(module.path(), "m.so");
  callLoader(nameOfLength(directory, 1024));
  EXPECT_TRACE(R"(
    GetStringUTFChars library
    report "loadCryptokiLibrary" 5 "name of the pkcs#11 library is too long"
    ReleaseStringUTFChars library
  )");
  expectUnbound();
}

struct FailingLoad {
  const char* name;
  std::string library;
  bool isNull = false;
};

void PrintTo(const FailingLoad& failing, std::ostream* out) {
  *out << failing.name;
}

class FailedLoadTest : public LoaderTest, public ::testing::WithParamInterface<FailingLoad> {};

TEST_P(FailedLoadTest, LeavesTheNamesAndChoicesOfTheLastGoodOne) {
  const std::string good = directory.copy(module.path(), "good.so");
  directory.write("good.so.conf", "DsPinIsCNSPin=true");
  load(good.c_str(), false);
  initialize();
  callLoader(GetParam().isNull ? nullptr : env.string("library", GetParam().library), JNI_TRUE);
  EXPECT_NE(env.pending(), "");
  expectUnbound();
  EXPECT_EQ(good, sLibName);
  EXPECT_EQ(good, sLibFullPath);
  EXPECT_EQ(freeLibrary, 0);
  EXPECT_FALSE(g_bIsSecondAuthenticationRequired);

  env.clearException();
  initialize();
  EXPECT_TRUE(bInitialized) << "the last good module is bound again";
  EXPECT_TRUE(isMapped(good));
}

INSTANTIATE_TEST_SUITE_P(Loads, FailedLoadTest,
                         ::testing::Values(FailingLoad{"NoName", "", true},
                                           FailingLoad{"MissingFile", "/no/such/module.so"},
                                           FailingLoad{"NoFunctionListEntry", modules::kNoFunctionList},
                                           FailingLoad{"FunctionListFails", modules::kListFails},
                                           FailingLoad{"NameTooLong", "/" + std::string(1023, 'x')}),
                         [](const auto& test) { return std::string(test.param.name); });

// --- The vendor callback ---------------------------------------------------------------------------------------------

struct Family {
  const char* name;
  const char* module;
  std::string file;
  bool found;
};

void PrintTo(const Family& family, std::ostream* out) {
  *out << family.name;
}

class VendorCallbackTest : public LoaderTest, public ::testing::WithParamInterface<Family> {};

TEST_P(VendorCallbackTest, IsLookedUpWhenTheNameSaysSo) {
  const std::string file = directory.copy(GetParam().module, GetParam().file);
  load(file.c_str());
  void* const entry = dlsym(hLibModule, "C_SetCallBack");
  ASSERT_EQ(entry != nullptr, GetParam().module != modules::kSissp11NoCallback);
  EXPECT_EQ(reinterpret_cast<void*>(pC_SetCallBack), GetParam().found ? entry : nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Names, VendorCallbackTest,
    ::testing::Values(Family{"LowerCase", modules::kSissp11, "libsissp11.so", true},
                      Family{"Capitals", modules::kSissp11, "LIBSISSP11.SO", true},
                      Family{"MixedCase", modules::kSissp11, "SiSsP11", true},
                      Family{"InsideALongerName", modules::kSissp11, "xsissp11x.so.2", true},
                      Family{"InTheDirectory", modules::kCallbackOtherName, "sissp11/module.so", true},
                      Family{"BesideOtherCharacters", modules::kSissp11, "\xC3\x84-sissp11.so", true},
                      Family{"WithoutTheEntry", modules::kSissp11NoCallback, "libsissp11.so", false},
                      Family{"OtherName", modules::kCallbackOtherName, "module.so", false},
                      Family{"NearlyTheName", modules::kCallbackOtherName, "sissp1-1.so", false}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(LoaderTest, ModulesOfTheFamilyAreKnownUnderTheirOwnNames) {
  for (const char* const library : {modules::kSissp11, modules::kSissp11Capitals, modules::kSissp11FailingCallback}) {
    pC_SetCallBack = nullptr;
    load(library);
    EXPECT_NE(pC_SetCallBack, nullptr) << library;
  }
}

TEST_F(LoaderTest, VendorCallbackGoesWithItsModule) {
  load(directory.copy(modules::kSissp11, "libsissp11.so").c_str());
  ASSERT_NE(pC_SetCallBack, nullptr);
  load(module.path(), true);
  EXPECT_EQ(pC_SetCallBack, nullptr);
}

// A module that stays mapped goes on serving its callback, whatever was loaded after it.
TEST_F(LoaderTest, VendorCallbackOfAModuleThatStaysMappedIsKept) {
  load(directory.copy(modules::kSissp11, "libsissp11.so").c_str());
  const C_SetCallBack_t entry = pC_SetCallBack;
  ASSERT_NE(entry, nullptr);
  load(module.path(), false);
  EXPECT_EQ(pC_SetCallBack, entry);
  load(modules::kCallbackOtherName, true);
  EXPECT_EQ(pC_SetCallBack, entry) << "closing another module takes nothing away";
}

TEST_F(LoaderTest, VendorCallbackIsKeptWhileSomebodyElseKeepsTheModuleMapped) {
  const ScriptedModule sissp11(modules::kSissp11);
  load(sissp11.path());
  const C_SetCallBack_t entry = pC_SetCallBack;
  load(module.path(), true);
  EXPECT_NE(entry, nullptr);
  EXPECT_EQ(pC_SetCallBack, entry);
}

TEST_F(LoaderTest, VendorCallbackIsForgottenWhenTheNextOfTheFamilyHasNone) {
  load(modules::kSissp11);
  ASSERT_NE(pC_SetCallBack, nullptr);
  load(modules::kSissp11NoCallback, false);
  EXPECT_EQ(pC_SetCallBack, nullptr);
}

TEST_F(LoaderTest, VendorCallbackIsLookedUpBeforeTheFunctionListIsAskedFor) {
  ScriptedModule sissp11(modules::kSissp11);
  sissp11.answer("C_GetFunctionList CKR_FUNCTION_FAILED");
  callLoader(sissp11.path());
  EXPECT_EQ(env.pendingReport()->code, 6);
  EXPECT_NE(pC_SetCallBack, nullptr);
}

TEST_F(LoaderTest, VendorCallbackIsNotLookedUpInAModuleWithoutAFunctionListEntry) {
  callLoader(directory.copy(modules::kNoFunctionList, "libsissp11.so"));
  EXPECT_EQ(env.pendingReport()->code, 5);
  EXPECT_EQ(pC_SetCallBack, nullptr);
}

TEST_F(LoaderTest, WithoutMemoryTheVendorCallbackIsSkipped) {
  const std::string library = directory.copy(modules::kSissp11, "libsissp11.so");
  const jstring name = env.string("library", library);
  copyFails = true;
  callLoader(name);
  copyFails = false;
  EXPECT_EQ(env.pending(), "");
  EXPECT_NE(functionList, nullptr);
  EXPECT_EQ(pC_SetCallBack, nullptr);
}

}  // namespace
