/// Initialize, Finalize and GetInfo, and the states that they move the library through.
#include "module_copies.h"
#include "native_test.h"

#include <cstring>

namespace {

class LifecycleTest : public UnboundTest {
protected:
  void Initialize(jobject InitializeArgs = nullptr) {
    Java_velnor_nat_NativeCryptoki_Initialize(jni, cryptoki, InitializeArgs);
  }
  void Finalize(jobject oObject = nullptr) { Java_velnor_nat_NativeCryptoki_Finalize(jni, cryptoki, oObject); }
  jobject GetInfo() { return Java_velnor_nat_NativeCryptoki_GetInfo(jni, cryptoki); }

  void callLoader(const char* library) {
    Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary(jni, env.classOf("velnor/nat/NativeCryptoki"),
                                                       env.string("library", std::string(library)));
  }

  /// The state by the three variables that make it up.
  static std::string state() {
    return std::string(functionList == nullptr ? "no list" : "list") + (hLibModule == nullptr ? ", closed" : ", open") +
           (bInitialized ? ", initialised" : "");
  }

  void detach() {
    load(module.path());
    initialize();
    module.answer("C_Finalize CKR_DEVICE_ERROR");
    Finalize();
    env.clear();
    env.clearException();
  }
};

// --- Initialize ------------------------------------------------------------------------------------------------------

TEST_F(LifecycleTest, InitializePassesNoArgumentsToTheModule) {
  load(module.path());
  Initialize(env.object("arguments", "java/lang/Object"));
  EXPECT_TRACE("C_Initialize args=null -> CKR_OK");
  EXPECT_TRUE(bInitialized);
}

TEST_F(LifecycleTest, SecondInitializeIsRefusedAndChangesNothing) {
  load(module.path());
  initialize();
  Initialize();
  EXPECT_TRACE(R"(report "J_Initialize" 0x191)");
  EXPECT_EQ(env.pendingReport()->code, 401);
  EXPECT_EQ(env.pendingReport()->message, "CRYPTOKI ALREADY INITIALIZED      ");
  EXPECT_EQ(state(), "list, open, initialised");
}

TEST_F(LifecycleTest, InitializeReportsWhatTheModuleAnswers) {
  load(module.path());
  module.answer("C_Initialize CKR_DEVICE_ERROR");
  Initialize();
  EXPECT_TRACE(R"(
    C_Initialize args=null -> CKR_DEVICE_ERROR
    report "J_Initialize" 0x30
  )");
  EXPECT_EQ(state(), "list, open");
}

// Another component of the process may have initialised the module: that is for the application to know.
TEST_F(LifecycleTest, InitializeReportsAModuleThatIsInitialisedAlready) {
  load(module.path());
  functionList->C_Initialize(nullptr);
  env.clear();
  Initialize();
  EXPECT_TRACE(R"(
    C_Initialize args=null -> CKR_CRYPTOKI_ALREADY_INITIALIZED
    report "J_Initialize" 0x191
  )");
  EXPECT_EQ(state(), "list, open");
}

TEST_F(LifecycleTest, InitializeBindsTheLastModuleAgain) {
  load(module.path());
  initialize();
  Finalize();
  env.clear();
  std::memset(sLibFullPath, 0, sizeof sLibFullPath);
  Initialize();
  EXPECT_TRACE(R"(
    C_GetFunctionList -> CKR_OK
    C_Initialize args=null -> CKR_OK
  )");
  EXPECT_EQ(state(), "list, open, initialised");
  EXPECT_STREQ(sLibFullPath, module.path());
}

TEST_F(LifecycleTest, InitializeLeavesTheModuleBoundAgainWhenItRefuses) {
  load(module.path());
  initialize();
  Finalize();
  module.answer("C_Initialize CKR_HOST_MEMORY");
  Initialize();
  EXPECT_EQ(env.pendingReport()->code, 2);
  EXPECT_EQ(state(), "list, open");
}

TEST_F(LifecycleTest, InitializeReportsUnderItsOwnNameWhatTheLoadRaises) {
  const ModuleDirectory directory;
  const std::string file = directory.copy(module.path(), "m.so");
  load(file.c_str());
  initialize();
  Finalize();
  env.clear();
  std::filesystem::remove(file);
  Initialize();
  EXPECT_TRACE(R"(
    report "J_Initialize" 5 "error loading pkcs#11 library: )" +
               file +
               R"(: cannot open shared object file: No such file or directory"
  )");
  EXPECT_EQ(state(), "no list, closed");
}

TEST_F(LifecycleTest, InitializeReportsUnderItsOwnNameTheCodeOfTheLoad) {
  load(module.path());
  initialize();
  Finalize();
  env.clear();
  module.answer("C_GetFunctionList CKR_HOST_MEMORY");
  Initialize();
  EXPECT_TRACE(R"(
    C_GetFunctionList -> CKR_HOST_MEMORY
    report "J_Initialize" 0x2
  )");
}

// The loader opens the program itself for the empty name, and a program has no function list.
TEST_F(LifecycleTest, InitializeBeforeAnyLoadFindsNoModule) {
  Initialize();
  EXPECT_TRACE(R"(
    report "J_Initialize" 5 "C_GetFunctionList function not found in pkcs#11 library"
  )");
  EXPECT_FALSE(bInitialized);
  EXPECT_EQ(functionList, nullptr);
}

TEST_F(LifecycleTest, InitializeAfterAFailedLoadBindsTheModuleBeforeIt) {
  load(module.path());
  callLoader("/no/such/module.so");
  env.clear();
  env.clearException();
  Initialize();
  EXPECT_TRACE(R"(
    C_GetFunctionList -> CKR_OK
    C_Initialize args=null -> CKR_OK
  )");
}

// The choice of the last load decides also when the module is bound again without one.
TEST_F(LifecycleTest, InitializeFreesThePredecessorAsTheLastLoadChose) {
  for (const bool freeLib : {true, false}) {
    const ModuleDirectory directory;
    const std::string file = directory.copy(module.path(), "m.so");
    load(file.c_str(), freeLib);
    Finalize();  // refused, so the module stays open without a list
    env.clearException();
    env.clear();
    ASSERT_EQ(state(), "no list, open");
    initialize();
    Finalize();
    EXPECT_EQ(isMapped(file), !freeLib);
    env.clear();
  }
}

TEST_F(LifecycleTest, InitializeNeverCallsAnEmptyEntry) {
  load(modules::kListEmpty);
  Initialize();
  EXPECT_TRACE(R"(report "J_Initialize" 0x54)");
  EXPECT_EQ(state(), "list, open");
}

// --- Finalize --------------------------------------------------------------------------------------------------------

TEST_F(LifecycleTest, FinalizeUnloadsTheModuleWhateverTheLoadChose) {
  for (const bool freeLib : {true, false}) {
    const ModuleDirectory directory;
    const std::string file = directory.copy(module.path(), "m.so");
    load(file.c_str(), freeLib);
    initialize();
    Finalize(env.object("object", "java/lang/Object"));
    EXPECT_TRACE("");
    EXPECT_EQ(env.pending(), "");
    EXPECT_EQ(state(), "no list, closed");
    EXPECT_FALSE(isMapped(file));
    EXPECT_EQ(file, sLibName) << "kept, for the next Initialize";
  }
}

TEST_F(LifecycleTest, FinalizePassesNoArgumentToTheModule) {
  load(module.path());
  initialize();
  Finalize(env.object("object", "java/lang/Object"));
  EXPECT_TRACE("C_Finalize reserved=null -> CKR_OK");
}

// Callers rely on a refused Finalize leaving no function list, so that nothing can reach the module through it.
TEST_F(LifecycleTest, FinalizeThatTheModuleRefusesDetachesIt) {
  load(module.path());
  initialize();
  module.answer("C_Finalize CKR_DEVICE_ERROR");
  Finalize();
  EXPECT_TRACE(R"(
    C_Finalize reserved=null -> CKR_DEVICE_ERROR
    report "J_Finalize" 0x30
  )");
  EXPECT_EQ(state(), "no list, open, initialised");
}

TEST_F(LifecycleTest, FinalizeBeforeInitializeIsRefusedAndStillTakesTheListAway) {
  load(module.path());
  Finalize();
  EXPECT_TRACE(R"(report "J_Finalize" 0x190)");
  EXPECT_EQ(state(), "no list, open");
}

TEST_F(LifecycleTest, FinalizeForgetsTheVendorCallbackOfTheModuleItUnloads) {
  const ModuleDirectory directory;
  load(directory.copy(modules::kSissp11, "libsissp11.so").c_str());
  ASSERT_NE(pC_SetCallBack, nullptr);
  initialize();
  Finalize();
  EXPECT_EQ(pC_SetCallBack, nullptr);
}

TEST_F(LifecycleTest, FinalizeKeepsTheVendorCallbackOfAModuleThatStaysMapped) {
  const ModuleDirectory directory;
  load(directory.copy(modules::kSissp11, "libsissp11.so").c_str());
  const C_SetCallBack_t entry = pC_SetCallBack;
  load(module.path(), false);
  initialize();
  Finalize();
  EXPECT_NE(entry, nullptr);
  EXPECT_EQ(pC_SetCallBack, entry);
}

TEST_F(LifecycleTest, FinalizeWithoutAHandleClosesNothing) {
  load(module.path());
  initialize();
  void* const handle = hLibModule;
  hLibModule = nullptr;
  Finalize();
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(state(), "no list, closed");
  hLibModule = handle;
}

// --- Every state, every call -----------------------------------------------------------------------------------------

constexpr char kUnbound[] = "no list, closed";
constexpr char kUnboundButOpen[] = "no list, open";
constexpr char kBound[] = "list, open";
constexpr char kInitialised[] = "list, open, initialised";
constexpr char kDetached[] = "no list, open, initialised";

enum class Call { Load, FailingLoad, Initialize, Finalize, FinalizeRefused, GetInfo };

struct Transition {
  const char* name;
  const char* from;
  Call call;
  jint code;  ///< what is reported, 0 for nothing
  const char* to;
};

void PrintTo(const Transition& transition, std::ostream* out) {
  *out << transition.name;
}

class TransitionTest : public LifecycleTest, public ::testing::WithParamInterface<Transition> {
protected:
  void reach(const std::string& wanted) {
    load(module.path());
    if (wanted != kBound && wanted != kUnboundButOpen) {
      initialize();
    }
    if (wanted == kUnbound || wanted == kUnboundButOpen) {
      Finalize();
    }
    if (wanted == kDetached) {
      detach();
    }
    env.clear();
    env.clearException();
    ASSERT_EQ(state(), wanted);
  }

  void make(Call call) {
    switch (call) {
    case Call::Load:
      callLoader(module.path());
      break;
    case Call::FailingLoad:
      callLoader("/no/such/module.so");
      break;
    case Call::Initialize:
      Initialize();
      break;
    case Call::FinalizeRefused:
      module.answer("C_Finalize CKR_DEVICE_ERROR");
      [[fallthrough]];
    case Call::Finalize:
      Finalize();
      break;
    case Call::GetInfo:
      GetInfo();
      break;
    }
  }
};

TEST_P(TransitionTest, ReportsAndLeadsToItsState) {
  reach(GetParam().from);
  make(GetParam().call);
  const auto report = env.pendingReport();
  EXPECT_EQ(report.has_value() ? report->code : 0, GetParam().code);
  EXPECT_EQ(state(), GetParam().to);
}

INSTANTIATE_TEST_SUITE_P(
    States, TransitionTest,
    ::testing::Values(Transition{"UnboundLoad", kUnbound, Call::Load, 0, kBound},
                      Transition{"UnboundFailingLoad", kUnbound, Call::FailingLoad, 5, kUnbound},
                      Transition{"UnboundInitialize", kUnbound, Call::Initialize, 0, kInitialised},
                      Transition{"UnboundFinalize", kUnbound, Call::Finalize, 400, kUnbound},
                      Transition{"UnboundGetInfo", kUnbound, Call::GetInfo, 400, kUnbound},
                      Transition{"UnboundButOpenLoad", kUnboundButOpen, Call::Load, 0, kBound},
                      Transition{"UnboundButOpenFailingLoad", kUnboundButOpen, Call::FailingLoad, 5, kUnbound},
                      Transition{"UnboundButOpenInitialize", kUnboundButOpen, Call::Initialize, 0, kInitialised},
                      Transition{"UnboundButOpenFinalize", kUnboundButOpen, Call::Finalize, 400, kUnboundButOpen},
                      Transition{"UnboundButOpenGetInfo", kUnboundButOpen, Call::GetInfo, 400, kUnboundButOpen},
                      Transition{"BoundLoad", kBound, Call::Load, 0, kBound},
                      Transition{"BoundFailingLoad", kBound, Call::FailingLoad, 5, kUnbound},
                      Transition{"BoundInitialize", kBound, Call::Initialize, 0, kInitialised},
                      Transition{"BoundFinalize", kBound, Call::Finalize, 400, kUnboundButOpen},
                      Transition{"BoundGetInfo", kBound, Call::GetInfo, 400, kBound},
                      Transition{"InitialisedLoad", kInitialised, Call::Load, 0, kBound},
                      Transition{"InitialisedFailingLoad", kInitialised, Call::FailingLoad, 5, kUnbound},
                      Transition{"InitialisedInitialize", kInitialised, Call::Initialize, 401, kInitialised},
                      Transition{"InitialisedFinalize", kInitialised, Call::Finalize, 0, kUnbound},
                      Transition{"InitialisedFinalizeRefused", kInitialised, Call::FinalizeRefused, 48, kDetached},
                      Transition{"InitialisedGetInfo", kInitialised, Call::GetInfo, 0, kInitialised},
                      Transition{"DetachedLoad", kDetached, Call::Load, 0, kBound},
                      Transition{"DetachedFailingLoad", kDetached, Call::FailingLoad, 5, kUnbound},
                      Transition{"DetachedInitialize", kDetached, Call::Initialize, 401, kDetached},
                      Transition{"DetachedFinalize", kDetached, Call::Finalize, 400, kDetached},
                      Transition{"DetachedGetInfo", kDetached, Call::GetInfo, 400, kDetached}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(LifecycleTest, DetachedModuleIsNeverCalled) {
  detach();
  Finalize();
  GetInfo();
  Initialize();
  callLoader("/no/such/module.so");
  EXPECT_MODULE_TRACE("");
}

// --- GetInfo ---------------------------------------------------------------------------------------------------------

class GetInfoTest : public LifecycleTest {
protected:
  GetInfoTest() {
    load(module.path());
    initialize();
  }
};

// Versions are built from the minor and the major number, in that order, and the library's is this bridge's own: 1.2,
// whatever the module says of itself (7.9).
const std::vector<std::string> kGoodPath = jvm::expectedLines(R"-(
  FindClass velnor/Info
  FindClass java/lang/String
  FindClass velnor/Version
  GetMethodID velnor/Info <init> (Lvelnor/Version;ILjava/lang/String;Lvelnor/Version;Ljava/lang/String;)V
  GetMethodID java/lang/String <init> ([B)V
  GetMethodID velnor/Version <init> (II)V
  C_GetInfo info=non-null -> CKR_OK
  NewByteArray 32
  NewByteArray 32
  SetByteArrayRegion byte[]#1 0 32 "Scripted module                 "
  SetByteArrayRegion byte[]#2 0 32 "Manufacturer of module          "
  NewObject java/lang/String (byte[]#1)
  NewObject java/lang/String (byte[]#2)
  NewObject velnor/Version (2, 1)
  NewObject velnor/Version (40, 2)
  NewObject velnor/Info (Version#2, 0, "Scripted module                 ", Version#1, "Manufacturer of module          ")
)-");

TEST_F(GetInfoTest, BuildsAnInfoFromAllFieldsButTheModulesOwnVersion) {
  const jobject info = GetInfo();
  EXPECT_EQ(jvm::joined(kGoodPath), takeTrace());
  EXPECT_EQ(env.pending(), "");
  EXPECT_EQ(env.show(info), R"(Info(Version(40, 2), 0, "Scripted module                 ", Version(2, 1), )"
                            R"("Manufacturer of module          "))");
  EXPECT_EQ(env.localReferencesDeleted(), 0);
}

struct Refusal {
  const char* line;
  const char* text;
};

constexpr Refusal kRefusals[] = {
    {"FindClass velnor/Info", "Class 'velnor/nat/NativeInfo' not found"},
    {"FindClass java/lang/String", "Class 'java/lang/String' not found"},
    {"FindClass velnor/Version", "Class 'velnor/Version' not found"},
    {"GetMethodID velnor/Info", "NativeInfo constructor not found"},
    {"GetMethodID java/lang/String", "String constructor not found"},
    {"GetMethodID velnor/Version", "Version constructor not found"},
    {"NewByteArray 32", "libraryDescArray is NULL"},
    {"NewByteArray 32", "manufactuIDArray is NULL"},
    {"NewObject java/lang/String (byte[]#1)", "libraryDescription value is NULL"},
    {"NewObject java/lang/String (byte[]#2)", "manufacturerID value is NULL"},
    {"NewObject velnor/Version (2, 1)", "libraryVersion value is NULL"},
    {"NewObject velnor/Version (40, 2)", "cryptokiVersion value is NULL"},
    {"NewObject velnor/Info", "NativeInfo object is NULL"},
};

class GetInfoRefusalTest : public GetInfoTest, public ::testing::WithParamInterface<std::size_t> {};

// Some texts speak of other classes than those that are looked up: callers know them by these.
TEST_P(GetInfoRefusalTest, ReportsItsTextAndReturnsNull) {
  const Refusal& refusal = kRefusals[GetParam()];
  // The refusals are in the order of the lines that they refuse.
  std::size_t at = 0;
  for (std::size_t i = 0; i <= GetParam(); ++i, ++at) {
    while (kGoodPath[at].rfind(kRefusals[i].line, 0) != 0) {
      ASSERT_LT(++at, kGoodPath.size());
    }
  }
  std::vector<std::string> expected(kGoodPath.begin(), kGoodPath.begin() + static_cast<std::ptrdiff_t>(at));
  const auto moduleCalls = static_cast<int>(jvm::moduleLines(expected).size());
  expected.back() += " -> null";
  expected.push_back("report \"J_GetInfo\" 5 \"" + std::string(refusal.text) + '"');

  env.failCall(static_cast<int>(at) - moduleCalls, jvm::Leaving::Exception);
  EXPECT_EQ(GetInfo(), nullptr);
  EXPECT_EQ(jvm::joined(expected), takeTrace());
}

INSTANTIATE_TEST_SUITE_P(Refusals, GetInfoRefusalTest, ::testing::Range(std::size_t{0}, std::size(kRefusals)));

TEST_F(GetInfoTest, ReportsWhatTheModuleAnswersBeforeAnythingIsMade) {
  module.answer("C_GetInfo CKR_DEVICE_REMOVED");
  EXPECT_EQ(GetInfo(), nullptr);
  const std::vector<std::string> trace = jvm::expectedLines(takeTrace());
  ASSERT_EQ(trace.size(), 8U);
  EXPECT_EQ(trace[6], "C_GetInfo info=non-null -> CKR_DEVICE_REMOVED");
  EXPECT_EQ(trace[7], R"(report "J_GetInfo" 0x32)");
}

TEST_F(GetInfoTest, HandsTextFieldsOnWholeWhateverTheyHold) {
  module.answer("C_GetInfo libraryDescription=\"0123456789012345678901234567890X\" manufacturerID=41004200FF");
  GetInfo();
  const std::string trace = takeTrace();
  EXPECT_NE(trace.find("byte[]#1 0 32 \"0123456789012345678901234567890X\"\n"), std::string::npos) << trace;
  std::string manufacturer = "41004200FF";
  for (int i = 5; i < 32; ++i) {
    manufacturer += "20";
  }
  EXPECT_NE(trace.find("byte[]#2 0 32 " + manufacturer + '\n'), std::string::npos) << trace;
}

struct Flags {
  const char* name;
  const char* answer;
  const char* info;
  bool fits;
};

void PrintTo(const Flags& flags, std::ostream* out) {
  *out << flags.name;
}

class GetInfoFlagsTest : public GetInfoTest, public ::testing::WithParamInterface<Flags> {};

// Flags that do not fit are reported, and the Info is built from their low half all the same.
TEST_P(GetInfoFlagsTest, AreGuarded) {
  module.answer(GetParam().answer);
  const std::string info = env.show(GetInfo());
  EXPECT_EQ(info.substr(0, info.find(", \"")), GetParam().info);
  EXPECT_EQ(env.pending(),
            GetParam().fits ? "" : R"-(CryptokiException("Check64BitLen", 5, "Value out of size for 32 bit (jint)"))-");
}

INSTANTIATE_TEST_SUITE_P(
    Values, GetInfoFlagsTest,
    ::testing::Values(Flags{"Largest", "C_GetInfo flags=0x7FFFFFFF", "Info(Version(40, 2), 2147483647", true},
                      Flags{"AllOnes", "C_GetInfo flags=-1", "Info(Version(40, 2), -1", true},
                      Flags{"TopBit", "C_GetInfo flags=0x80000000", "Info(Version(40, 2), -2147483648", false},
                      Flags{"HighHalf", "C_GetInfo flags=0x500000003", "Info(Version(40, 2), 3", false}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace
