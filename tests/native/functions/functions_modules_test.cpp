/// Modules: loading any number of them, what is told of them, and function lists of every age.
#include "calls.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <sys/mman.h>
#include <unistd.h>

using namespace functions;

namespace {

bool isOfVersion3(const std::string& function) {
  static const std::set<std::string> names = {
#define X(name) #name,
#include "../module/functions_3_0.inc"
#undef X
  };
  return names.count(function) != 0;
}

/// A function list that ends right before memory that nobody can read.
class EdgeOfMemory {
public:
  EdgeOfMemory(const void* list, std::size_t size) : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
    pages_ = mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages_ == MAP_FAILED || mprotect(static_cast<char*>(pages_) + page_, page_, PROT_NONE) != 0) {
      throw std::runtime_error("no memory with an edge");
    }
    list_ = static_cast<char*>(pages_) + page_ - size;
    std::memcpy(list_, list, size);
  }
  EdgeOfMemory(const EdgeOfMemory&) = delete;
  EdgeOfMemory& operator=(const EdgeOfMemory&) = delete;
  // The memory stays: the module does, too.
  ~EdgeOfMemory() = default;

  CK_FUNCTION_LIST& list() const { return *reinterpret_cast<CK_FUNCTION_LIST*>(list_); }

private:
  std::size_t page_;
  void* pages_;
  void* list_ = nullptr;
};

class FunctionsModulesTest : public FunctionsTest {
protected:
  struct Loaded {
    jlong result;
    std::string text;  ///< as much as was told
  };
  Loaded tryToLoad(const std::string& path, std::size_t room = 1000) {
    const jbyteArray jText = env.bytes("text", std::string(room, '#'));
    const jlong result = NATIVE(load)(jni, nullptr, env.bytes("path", path), jText);
    const std::string text = env.bytesOf(jText);
    const std::size_t length = result < 0 ? std::min<std::size_t>(neededOf(result), room) : 0;
    EXPECT_EQ(text.substr(length), std::string(room - length, '#')) << "written beyond the text";
    return {result, text.substr(0, length)};
  }
  std::string pathOf(jlong module) {
    const jbyteArray path = env.bytes("", std::string(5000, '#'));
    const jint length = NATIVE(path)(jni, nullptr, module, path);
    return env.bytesOf(path).substr(0, static_cast<std::size_t>(length));
  }
  bool has(jlong module, const std::string& function) {
    jint ordinal = 0;
    for (const Line& line : lines()) {
      if (line.function == function) {
        break;
      }
      ++ordinal;
    }
    const jboolean answered = NATIVE(has)(jni, nullptr, module, ordinal);
    EXPECT_TRUE(answered == JNI_TRUE || answered == JNI_FALSE);
    return answered == JNI_TRUE;
  }
  jint callLogout(jlong module) { return NATIVE(number)(jni, nullptr, module, indexOf("C_Logout"), kSession); }
  jint answerOfCall(const std::string& name, jlong module) {
    const Call& call = callOf(name);
    Arguments given(env, module, call.index());
    return static_cast<jint>(call.answer(call.make(given)));
  }
};

// --- The library -----------------------------------------------------------------------------------------------------

TEST_F(FunctionsModulesTest, TheLibraryTellsItsVersion) {
  std::ifstream project(HARLUNE_SOURCES "/CMakeLists.txt");
  const std::string text((std::istreambuf_iterator<char>(project)), std::istreambuf_iterator<char>());
  const std::size_t at = text.find("VERSION ", text.find("project(Harlune")) + 8;
  const std::string version = text.substr(at, text.find(' ', at) - at);
  const jint told = NATIVE(version)(jni, nullptr);
  EXPECT_EQ(std::to_string(told / 256) + "." + std::to_string(told % 256), version);
}

TEST_F(FunctionsModulesTest, AnswersAreDescribedIn34Characters) {
  const struct {
    std::uint32_t answer;
    std::string text;
  } kDescribed[] = {
      {0xA0, "PIN INCORRECT"}, {0x30, "DEVICE ERROR"}, {0x80000001, "VENDOR DEFINED"}, {0xFFFFFFFF, "VENDOR DEFINED"}};
  for (const auto& row : kDescribed) {
    const jbyteArray text = env.bytes("", std::string(40, '#'));
    EXPECT_EQ(NATIVE(description)(jni, nullptr, static_cast<jint>(row.answer), text), 34);
    EXPECT_EQ(env.bytesOf(text), row.text + std::string(34 - row.text.size(), ' ') + "######");
    const jbyteArray little = env.bytes("", "####");
    EXPECT_EQ(NATIVE(description)(jni, nullptr, static_cast<jint>(row.answer), little), 34);
    EXPECT_EQ(env.bytesOf(little), row.text.substr(0, 4));
    EXPECT_EQ(NATIVE(description)(jni, nullptr, static_cast<jint>(row.answer), env.bytes("", "")), 34);
    EXPECT_EQ(NATIVE(description)(jni, nullptr, static_cast<jint>(row.answer), nullptr), 34);
  }
}

// --- Loading ---------------------------------------------------------------------------------------------------------

TEST_F(FunctionsModulesTest, EveryModuleHasItsOwnIdAndItsOwnFunctions) {
  static puppet::FunctionList refusing = puppet::functions();
  refusing.C_Logout = [](CK_SESSION_HANDLE) -> CK_RV { return CKR_USER_NOT_LOGGED_IN; };
  puppet::Module one(copy(modules::kPuppet));
  one.list(refusing);
  const jlong oneId = load(one.path());
  puppet::Module other(copy(modules::kPuppet));
  other.list(puppet::functions());
  const jlong otherId = load(other.path());
  EXPECT_GT(oneId, 0);
  EXPECT_GT(otherId, 0);
  EXPECT_NE(oneId, otherId);
  EXPECT_EQ(callLogout(oneId), jint(CKR_USER_NOT_LOGGED_IN));
  EXPECT_EQ(callLogout(otherId), 0);
  EXPECT_EQ(callLogout(oneId), jint(CKR_USER_NOT_LOGGED_IN));
  EXPECT_EQ(pathOf(oneId), one.path());
  EXPECT_EQ(pathOf(otherId), other.path());
  EXPECT_TRUE(isMapped(one.path()));
}

TEST_F(FunctionsModulesTest, AModuleThatIsLoadedIsFoundByAnyOfItsNames) {
  puppet::Module module(copy(modules::kPuppet));
  module.list(puppet::functions());
  const jlong id = load(module.path());
  EXPECT_EQ(load(module.path()), id);
  const std::filesystem::path file(module.path());
  EXPECT_EQ(load((file.parent_path() / "." / file.filename()).string()), id);
  const std::string link = module.path() + ".link";
  std::filesystem::create_symlink(module.path(), link);
  EXPECT_EQ(load(link), id);
}

// It has been loaded, and its list is known.
TEST_F(FunctionsModulesTest, AModuleThatIsLoadedIsFoundWhateverItSays) {
  puppet::Module module(copy(modules::kPuppet));
  module.list(puppet::functions());
  const jlong id = load(module.path());
  module.list([](CK_FUNCTION_LIST_PTR_PTR) -> CK_RV { return CKR_HOST_MEMORY; });
  EXPECT_EQ(tryToLoad(module.path()).result, id);
  EXPECT_EQ(callLogout(id), 0);
  EXPECT_TRUE(isMapped(module.path()));
}

TEST_F(FunctionsModulesTest, TheFirstModuleOfAProcessIsFoundWhateverItSays) {
  puppet::Module module(copy(modules::kPuppet));
  module.list(puppet::functions());
  load(module.path());
  puppet::Module first(pathOf(1));
  first.list([](CK_FUNCTION_LIST_PTR_PTR) -> CK_RV { return CKR_HOST_MEMORY; });
  EXPECT_EQ(tryToLoad(first.path()).result, 1);
}

TEST_F(FunctionsModulesTest, LoadingInitialisesNothing) {
  puppet::Module module(copy(modules::kPuppetWithInterfaces));
  module.list(puppet::functions());
  module.interface(
      [](CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR, CK_FLAGS) -> CK_RV { return CKR_FUNCTION_FAILED; });
  load(module.path());
  EXPECT_EQ(takeTold(), std::vector<std::string>());
}

TEST_F(FunctionsModulesTest, AFileThatIsNoneIsRefusedWithTheLoadersWords) {
  const std::string missing = copy(modules::kPuppet) + ".missing";
  const Loaded refused = tryToLoad(missing);
  EXPECT_LT(refused.result, 0);
  EXPECT_EQ(answerOf(refused.result), CKR_GENERAL_ERROR);
  EXPECT_NE(refused.text.find(missing), std::string::npos) << refused.text;
  EXPECT_NE(refused.text.find("No such file"), std::string::npos) << refused.text;

  const std::string broken = copy(modules::kPuppet);
  std::ofstream(broken, std::ios::trunc) << std::string(100, 'x');
  const Loaded invalid = tryToLoad(broken);
  EXPECT_EQ(answerOf(invalid.result), CKR_GENERAL_ERROR);
  EXPECT_NE(invalid.text.find("invalid ELF header"), std::string::npos) << invalid.text;
}

TEST_F(FunctionsModulesTest, ATextIsToldAsFarAsThereIsRoom) {
  const std::string missing = copy(modules::kPuppet) + ".missing";
  const Loaded whole = tryToLoad(missing);
  for (const std::size_t room : {std::size_t(0), std::size_t(1), whole.text.size() - 1, whole.text.size()}) {
    const Loaded cut = tryToLoad(missing, room);
    EXPECT_EQ(cut.result, whole.result) << "the length is that of the whole text";
    EXPECT_EQ(cut.text, whole.text.substr(0, room));
  }
  EXPECT_EQ(NATIVE(load)(jni, nullptr, env.bytes("", missing), nullptr), whole.result);
}

// The reason stands behind the path.
TEST_F(FunctionsModulesTest, ALongTextIsToldWhole) {
  const std::string missing = "/" + std::string(200, 'a') + "/" + std::string(200, 'b') + "/" + std::string(200, 'c');
  const Loaded refused = tryToLoad(missing, 3000);
  EXPECT_NE(refused.text.find(missing), std::string::npos) << refused.text;
  EXPECT_NE(refused.text.find("No such file"), std::string::npos) << refused.text;
}

TEST_F(FunctionsModulesTest, NamesThatAreNoneAreRefused) {
  for (const std::string& name : {std::string(""), std::string("a\0b.so", 6), std::string("\0", 1),
                                  std::string(4096, 'x'), std::string(100000, 'x')}) {
    const Loaded refused = tryToLoad(name);
    EXPECT_EQ(answerOf(refused.result), CKR_ARGUMENTS_BAD) << name.size();
    EXPECT_EQ(refused.text,
              name.size() < 4096 ? "No cryptoki library specified" : "name of the pkcs#11 library is too long");
  }
  const jbyteArray text = env.bytes("", std::string(100, '#'));
  const jlong result = NATIVE(load)(jni, nullptr, nullptr, text);
  EXPECT_EQ(answerOf(result), CKR_ARGUMENTS_BAD);
  EXPECT_GT(neededOf(result), 0U);
}

TEST_F(FunctionsModulesTest, LibrariesWithoutAFunctionListAreRefusedWithWords) {
  for (const char* const file : {modules::kNoFunctionList, modules::kListNull}) {
    const std::string path = copy(file);
    const Loaded refused = tryToLoad(path);
    EXPECT_LT(refused.result, 0);
    EXPECT_EQ(answerOf(refused.result), CKR_GENERAL_ERROR);
    EXPECT_GT(refused.text.size(), 10U);
    EXPECT_FALSE(isMapped(path));
  }
}

TEST_F(FunctionsModulesTest, AModuleThatRefusesDoesSoWithItsOwnAnswer) {
  for (const CK_RV Rv : {CKR_DEVICE_ERROR, CK_RV(0x80000005), ~CK_RV(0)}) {
    puppet::Module module(copy(modules::kPuppet));
    module.list([Rv](CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
      *ppFunctionList = reinterpret_cast<CK_FUNCTION_LIST_PTR>(0xBAD0);
      return Rv;
    });
    EXPECT_EQ(tryToLoad(module.path()).result, failure(static_cast<std::uint32_t>(Rv)));
    module.list([](CK_FUNCTION_LIST_PTR_PTR) -> CK_RV { return 0x100000000; });
    EXPECT_EQ(tryToLoad(module.path()).result, failure(CKR_GENERAL_ERROR));
    // Later it may be ready.
    module.list(puppet::functions());
    EXPECT_GT(tryToLoad(module.path()).result, 0);
  }
}

TEST_F(FunctionsModulesTest, AModuleThatLetsAnExceptionOutIsRefused) {
  puppet::Module module(copy(modules::kPuppet));
  module.list([](CK_FUNCTION_LIST_PTR_PTR) -> CK_RV { throw std::runtime_error("the module's"); });
  EXPECT_EQ(answerOf(tryToLoad(module.path()).result), CKR_GENERAL_ERROR);
  puppet::Module second(copy(modules::kPuppetWithInterfaces));
  second.list(puppet::functions());
  second.interface([](CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR, CK_FLAGS) -> CK_RV { throw 5; });
  const jlong id = load(second.path());
  EXPECT_FALSE(has(id, "C_LoginUser"));
  EXPECT_TRUE(has(id, "C_Login"));
}

TEST_F(FunctionsModulesTest, NothingIsToldOfAModuleThatIsNotLoaded) {
  for (const jlong id : {jlong(0), jlong(-1), puppetModule() + 1000, jlong(1) << 40}) {
    const jbyteArray path = env.bytes("", "####");
    EXPECT_EQ(NATIVE(path)(jni, nullptr, id, path), 0);
    EXPECT_EQ(env.bytesOf(path), "####");
    EXPECT_FALSE(has(id, "C_Login"));
    EXPECT_EQ(callLogout(id), jint(CKR_CRYPTOKI_NOT_INITIALIZED));
  }
}

TEST_F(FunctionsModulesTest, APathIsToldAsFarAsThereIsRoom) {
  puppet::Module module(copy(modules::kPuppet));
  module.list(puppet::functions());
  const jlong id = load(module.path());
  const auto length = static_cast<jint>(module.path().size());
  const jbyteArray little = env.bytes("", "####");
  EXPECT_EQ(NATIVE(path)(jni, nullptr, id, little), length);
  EXPECT_EQ(env.bytesOf(little), module.path().substr(0, 4));
  EXPECT_EQ(NATIVE(path)(jni, nullptr, id, env.bytes("", "")), length);
  EXPECT_EQ(NATIVE(path)(jni, nullptr, id, nullptr), length);
}

TEST_F(FunctionsModulesTest, APathIsFullWhateverTheNameWas) {
  puppet::Module module(copy(modules::kPuppet));
  module.list(puppet::functions());
  const std::filesystem::path file(module.path());
  const CurrentDirectory here(file.parent_path());
  const std::string relative = "./" + file.filename().string();
  // The loader keeps the name that a module was first opened by: this file is opened by a relative one alone.
  const std::string second = copy(modules::kListEmpty);
  const jlong id = load("./" + std::filesystem::path(second).filename().string());
  EXPECT_EQ(pathOf(id), second);
  EXPECT_EQ(pathOf(load(relative)), module.path());
}

// --- The configuration beside the module -----------------------------------------------------------------------------

TEST_F(FunctionsModulesTest, TheMarkerBesideAModuleIsReadWhenItIsLoaded) {
  const auto requiredWith = [this](const std::optional<std::string>& configuration) {
    puppet::Module module(copy(modules::kPuppet));
    module.list(puppet::functions());
    if (configuration) {
      std::ofstream(module.path() + ".conf") << *configuration;
    }
    const jlong id = load(module.path());
    std::ofstream(module.path() + ".conf") << (configuration ? "changed" : "DsPinIsCNSPin=true");
    return NATIVE(isSecondAuthenticationRequired)(jni, nullptr, id);
  };
  EXPECT_EQ(requiredWith(std::nullopt), JNI_TRUE);
  EXPECT_EQ(requiredWith(""), JNI_TRUE);
  EXPECT_EQ(requiredWith("DsPinIsCNSPin=false"), JNI_TRUE);
  EXPECT_EQ(requiredWith("DsPinIsCNSPin=true"), JNI_FALSE);
  EXPECT_EQ(requiredWith("a line\nDsPinIsCNSPin=true\nanother"), JNI_FALSE);
  EXPECT_EQ(NATIVE(isSecondAuthenticationRequired)(jni, nullptr, 0), JNI_TRUE);
}

// --- Function lists --------------------------------------------------------------------------------------------------

TEST_F(FunctionsModulesTest, AModuleHasWhatItsListHas) {
  const jlong whole = puppetModule();
  for (const Line& line : lines()) {
    EXPECT_TRUE(has(whole, line.function)) << line.function;
  }
  const auto count = static_cast<jint>(lines().size());
  for (const jint ordinal : {-1, count, count + 1, 1000, 0x7FFFFFFF, jint(-0x7FFFFFFF - 1)}) {
    EXPECT_EQ(NATIVE(has)(jni, nullptr, whole, ordinal), JNI_FALSE) << ordinal;
  }
  // One entry at a time is missing.
  static puppet::FunctionList list = {};
  puppet::Module module(copy(modules::kPuppet));
  list = puppet::functions();
  module.list(list);
  const jlong id = load(module.path());
#define X(name)                                                                                                        \
  list.name = nullptr;                                                                                                 \
  EXPECT_FALSE(has(id, #name)) << #name;                                                                               \
  for (const Line& line : lines()) {                                                                                   \
    if (line.function != #name && !isOfVersion3(line.function)) {                                                      \
      EXPECT_TRUE(has(id, line.function)) << line.function << " without " << #name;                                    \
    }                                                                                                                  \
  }                                                                                                                    \
  list.name = puppet::functions().name;
#include "../module/functions.inc"
#undef X
}

TEST_F(FunctionsModulesTest, AnEmptyListIsAModuleWithoutFunctions) {
  const jlong id = load(copy(modules::kListEmpty));
  for (const Line& line : lines()) {
    EXPECT_FALSE(has(id, line.function)) << line.function;
  }
}

// The page behind the list cannot be read: whoever does so ends the process.
TEST_F(FunctionsModulesTest, NothingIsReadBehindAnOlderList) {
  const struct {
    CK_VERSION version;
    bool hasWaitForSlotEvent;
  } kVersions[] = {{{1, 0}, false}, {{2, 0}, false}, {{2, 1}, true},  {{2, 10}, true},
                   {{2, 11}, true}, {{2, 20}, true}, {{2, 40}, true}, {{3, 0}, true}};
  for (const auto& row : kVersions) {
    SCOPED_TRACE(std::to_string(row.version.major) + "." + std::to_string(row.version.minor));
    CK_FUNCTION_LIST list = puppet::functions();
    list.version = row.version;
    const EdgeOfMemory edge(&list, sizeof list - (row.hasWaitForSlotEvent ? 0 : sizeof list.C_WaitForSlotEvent));
    puppet::Module module(copy(modules::kPuppet));
    module.list(edge.list());
    const jlong id = load(module.path());
    for (const Line& line : lines()) {
      const bool isThere =
          !isOfVersion3(line.function) && (row.hasWaitForSlotEvent || line.function != "C_WaitForSlotEvent");
      EXPECT_EQ(has(id, line.function), isThere) << line.function;
      EXPECT_EQ(answerOfCall(line.function, id), isThere ? 0 : jint(CKR_FUNCTION_NOT_SUPPORTED)) << line.function;
    }
  }
}

// --- Interfaces of version 3 -----------------------------------------------------------------------------------------

class FunctionsInterfacesTest : public FunctionsModulesTest {
protected:
  /// A module of version 2.40 whose interface is what `answers` says.
  jlong loadWith(std::function<CK_RV(CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR, CK_FLAGS)> answers) {
    puppet::Module module(copy(modules::kPuppetWithInterfaces));
    static CK_FUNCTION_LIST list = puppet::functions();
    list.version = {2, 40};
    module.list(list);
    module.interface(std::move(answers));
    return load(module.path());
  }
  void expectNothingOf3(jlong id) {
    EXPECT_FALSE(has(id, "C_LoginUser"));
    EXPECT_FALSE(has(id, "C_SessionCancel"));
    EXPECT_EQ(answerOfCall("C_LoginUser", id), jint(CKR_FUNCTION_NOT_SUPPORTED));
    EXPECT_EQ(answerOfCall("C_SessionCancel", id), jint(CKR_FUNCTION_NOT_SUPPORTED));
    EXPECT_TRUE(has(id, "C_Login"));
    EXPECT_EQ(answerOfCall("C_Login", id), 0);
  }
};

TEST_F(FunctionsInterfacesTest, TheStandardsInterfaceIsAskedForByName) {
  std::string asked;
  bool isVersionNamed = false;
  const jlong id =
      loadWith([&](CK_UTF8CHAR_PTR pName, CK_VERSION_PTR pVersion, CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS flags) {
        asked = pName == nullptr ? "PKCS 11" : reinterpret_cast<const char*>(pName);
        isVersionNamed = pVersion != nullptr;
        EXPECT_TRUE(pVersion == nullptr || pVersion->major == 3);
        EXPECT_EQ(flags, 0U);
        static CK_UTF8CHAR name[] = "PKCS 11";
        static CK_INTERFACE interface = {name, &puppet::functions(), 0};
        *ppInterface = &interface;
        return CKR_OK;
      });
  EXPECT_EQ(asked, "PKCS 11");
  EXPECT_TRUE(has(id, "C_LoginUser"));
  EXPECT_TRUE(has(id, "C_SessionCancel"));
  EXPECT_EQ(answerOfCall("C_LoginUser", id), 0);
  EXPECT_EQ(answerOfCall("C_SessionCancel", id), 0);
}

TEST_F(FunctionsInterfacesTest, AModuleWithoutThemHasTheOldFunctionsAlone) {
  puppet::Module module(copy(modules::kPuppet));
  module.list(puppet::functions());
  expectNothingOf3(load(module.path()));
}

TEST_F(FunctionsInterfacesTest, AnInterfaceThatIsNoneIsLeftAlone) {
  expectNothingOf3(loadWith(
      [](CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR, CK_FLAGS) -> CK_RV { return CKR_ARGUMENTS_BAD; }));
  // It fails, and leaves something behind.
  expectNothingOf3(loadWith([](CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS) -> CK_RV {
    *ppInterface = reinterpret_cast<CK_INTERFACE_PTR>(0xBAD0);
    return CKR_FUNCTION_FAILED;
  }));
  expectNothingOf3(loadWith([](CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS) -> CK_RV {
    *ppInterface = nullptr;
    return CKR_OK;
  }));
  expectNothingOf3(loadWith([](CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS) -> CK_RV {
    static CK_INTERFACE interface = {};
    *ppInterface = &interface;
    return CKR_OK;
  }));
}

// Modules answer with what they have, and that may be the list of version 2.
TEST_F(FunctionsInterfacesTest, NothingIsReadBehindAListOfVersion2) {
  expectNothingOf3(loadWith([](CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS) -> CK_RV {
    CK_FUNCTION_LIST list = puppet::functions();
    list.version = {2, 40};
    static const EdgeOfMemory edge(&list, sizeof list);
    static CK_UTF8CHAR name[] = "PKCS 11";
    static CK_INTERFACE interface = {name, &edge.list(), 0};
    *ppInterface = &interface;
    return CKR_OK;
  }));
}

TEST_F(FunctionsInterfacesTest, EmptyEntriesOfVersion3AreNotCalled) {
  static puppet::FunctionList list = puppet::functions();
  list.C_LoginUser = nullptr;
  const jlong id = loadWith([](CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS) -> CK_RV {
    static CK_INTERFACE interface = {nullptr, &list, 0};
    *ppInterface = &interface;
    return CKR_OK;
  });
  EXPECT_FALSE(has(id, "C_LoginUser"));
  EXPECT_TRUE(has(id, "C_SessionCancel"));
  EXPECT_EQ(answerOfCall("C_LoginUser", id), jint(CKR_FUNCTION_NOT_SUPPORTED));
  EXPECT_EQ(answerOfCall("C_SessionCancel", id), 0);
}

// --- Which list of version 3 -----------------------------------------------------------------------------------------

/// A list of a version, of which every call tells that it is of that one.
struct VersionedList {
  explicit VersionedList(CK_VERSION version) : list(puppet::functions()) { list.version = version; }

  puppet::FunctionList list;
  char behind[200] = {};  ///< what later versions have there
};

class FunctionsVersionsTest : public FunctionsModulesTest {
protected:
  static CK_UTF8CHAR* name(const char* text) {
    static std::vector<std::string> texts;
    static const bool isReserved = (texts.reserve(1000), true);
    EXPECT_TRUE(isReserved);
    texts.emplace_back(text);
    return reinterpret_cast<CK_UTF8CHAR*>(texts.back().data());
  }
  /// Lists are static: modules stay loaded.
  static VersionedList& listOf(CK_BYTE major, CK_BYTE minor) {
    static std::map<std::pair<CK_BYTE, CK_BYTE>, VersionedList> lists;
    return lists.try_emplace({major, minor}, CK_VERSION{major, minor}).first->second;
  }
  static CK_INTERFACE standard(CK_BYTE major, CK_BYTE minor, CK_FLAGS flags = 0) {
    return {name("PKCS 11"), &listOf(major, minor).list, flags};
  }

  /// A module of version 2.40 that has these interfaces; which of them it gives for a version is up to the standard.
  jlong loadWith(const std::vector<CK_INTERFACE>& interfaces, bool tellsList) {
    puppet::Module module(copy(modules::kPuppetWithInterfaces));
    static CK_FUNCTION_LIST list = puppet::functions();
    list.version = {2, 40};
    module.list(list);
    static std::vector<CK_INTERFACE> kept;
    kept = interfaces;
    module.interface([](CK_UTF8CHAR_PTR pName, CK_VERSION_PTR pVersion, CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS) {
      for (CK_INTERFACE& one : kept) {
        const auto* const version = static_cast<CK_VERSION*>(one.pFunctionList);
        const bool isNamed = one.pInterfaceName != nullptr && std::strcmp(reinterpret_cast<char*>(one.pInterfaceName),
                                                                          reinterpret_cast<char*>(pName)) == 0;
        if (isNamed && version != nullptr &&
            (pVersion == nullptr || (version->major == pVersion->major && version->minor == pVersion->minor))) {
          *ppInterface = &one;
          return CKR_OK;
        }
      }
      return CKR_ARGUMENTS_BAD;
    });
    if (tellsList) {
      module.interfaces([](CK_INTERFACE_PTR pInterfaces, CK_ULONG_PTR pulCount) {
        const CK_ULONG room = *pulCount;
        *pulCount = kept.size();
        if (pInterfaces != nullptr && room >= kept.size()) {
          std::copy(kept.begin(), kept.end(), pInterfaces);
        }
        return pInterfaces == nullptr || room >= kept.size() ? CKR_OK : CKR_BUFFER_TOO_SMALL;
      });
    }
    return load(module.path());
  }

  /// The list of these that is used; {0, 0} for none.
  std::string used(jlong id) {
    for (const CK_BYTE minor : {CK_BYTE(0), CK_BYTE(1), CK_BYTE(2), CK_BYTE(9)}) {
      VersionedList& one = listOf(3, minor);
      const auto kept = one.list.C_LoginUser;
      one.list.C_LoginUser = nullptr;
      const bool isThisOne = !has(id, "C_LoginUser");
      one.list.C_LoginUser = kept;
      if (isThisOne && has(id, "C_LoginUser")) {
        return "3." + std::to_string(minor);
      }
    }
    return has(id, "C_LoginUser") ? "another" : "none";
  }
};

TEST_F(FunctionsVersionsTest, TheNewestOfVersion3IsUsed) {
  for (const bool tellsList : {true, false}) {
    SCOPED_TRACE(tellsList);
    EXPECT_EQ(used(loadWith({standard(3, 0)}, tellsList)), "3.0");
    EXPECT_EQ(used(loadWith({standard(3, 1)}, tellsList)), "3.1");
    EXPECT_EQ(used(loadWith({standard(3, 2, CKF_INTERFACE_FORK_SAFE)}, tellsList)), "3.2");
    EXPECT_EQ(used(loadWith({standard(2, 40), standard(3, 2)}, tellsList)), "3.2");
    EXPECT_EQ(used(loadWith({standard(3, 0), standard(3, 2), standard(3, 1)}, tellsList)), "3.2");
  }
}

TEST_F(FunctionsVersionsTest, AVersionThatCameLaterIsUsedWhenItIsTold) {
  EXPECT_EQ(used(loadWith({standard(3, 2), standard(3, 9)}, true)), "3.9");
}

TEST_F(FunctionsVersionsTest, WhatIsNotTheStandardsIsLeftAlone) {
  const CK_INTERFACE vendors = {name("Vendor 11"), &listOf(3, 9).list, 0};
  const CK_INTERFACE longer = {name("PKCS 11 of ours"), &listOf(3, 9).list, 0};
  const CK_INTERFACE nameless = {nullptr, &listOf(3, 9).list, 0};
  const CK_INTERFACE empty = {name("PKCS 11"), nullptr, 0};
  for (const bool tellsList : {true, false}) {
    SCOPED_TRACE(tellsList);
    EXPECT_EQ(used(loadWith({vendors, longer, nameless, empty}, tellsList)), "none");
    EXPECT_EQ(used(loadWith({vendors, longer, nameless, empty, standard(3, 1)}, tellsList)), "3.1");
    EXPECT_EQ(used(loadWith({standard(0, 0), standard(255, 255), standard(4, 0), standard(2, 255)}, tellsList)),
              "none");
    EXPECT_EQ(used(loadWith({standard(255, 255), standard(3, 0), standard(4, 0)}, tellsList)), "3.0");
    EXPECT_EQ(used(loadWith({}, tellsList)), "none");
  }
}

TEST_F(FunctionsVersionsTest, ListsOfInterfacesThatLie) {
  const struct {
    const char* what;
    CK_RV (*answers)(CK_INTERFACE_PTR, CK_ULONG_PTR);
  } rows[] = {
      {"more than there was room for",
       [](CK_INTERFACE_PTR, CK_ULONG_PTR pulCount) -> CK_RV {
         *pulCount = ~CK_ULONG(0);
         return CKR_OK;
       }},
      {"too many",
       [](CK_INTERFACE_PTR, CK_ULONG_PTR pulCount) -> CK_RV {
         *pulCount = 1000;
         return CKR_BUFFER_TOO_SMALL;
       }},
      {"an exception", [](CK_INTERFACE_PTR, CK_ULONG_PTR) -> CK_RV { throw 5; }},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.what);
    puppet::Module module(copy(modules::kPuppetWithInterfaces));
    module.list(puppet::functions());
    module.interfaces(row.answers);
    module.interface([](CK_UTF8CHAR_PTR, CK_VERSION_PTR pVersion, CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS) {
      static CK_INTERFACE interface = standard(3, 1);
      *ppInterface = &interface;
      return pVersion->minor == 1 ? CKR_OK : CKR_ARGUMENTS_BAD;
    });
    EXPECT_EQ(used(load(module.path())), "3.1");
  }
}

}  // namespace
