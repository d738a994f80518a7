#include "world.h"

#include "../native/rules/tables.h"
#include "input.h"
#include "trace.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

/// A machine with little memory: lengths that lie cost no time, and the library's answer to a refusal is tried as well.
constexpr std::size_t kLargestBlock = std::size_t{1} << 20;

std::uint64_t allocationsUntilRefusal = 0;

}  // namespace

extern "C" {

void* __real_calloc(std::size_t count, std::size_t size);

/// Takes the place of calloc in the library's objects.
void* __wrap_calloc(std::size_t count, std::size_t size) {
  std::size_t whole = 0;
  const bool refused = allocationsUntilRefusal != 0 && --allocationsUntilRefusal == 0;
  return refused || __builtin_mul_overflow(count, size, &whole) || whole > kLargestBlock ? nullptr
                                                                                         : __real_calloc(count, size);
}

}  // extern "C"

namespace fuzz {
namespace {

/// A failed expectation is told to the fuzzer; there is no test around it that could fail.
class EndTheProcess : public ::testing::EmptyTestEventListener {
  void OnTestPartResult(const ::testing::TestPartResult& result) override {
    if (result.failed()) {
      std::abort();  // the printer that comes before this listener has told why
    }
  }
};

jvm::RecordingEnv* listening = nullptr;

void listen(const char* line) {
  listening->note(line);
}

ScriptedModule& token() {
  static ScriptedModule kept(modules::kScripted);
  return kept;
}

CK_FUNCTION_LIST_PTR listOf(const char* path) {
  static void* const handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
  CK_FUNCTION_LIST_PTR list = nullptr;
  const auto get = reinterpret_cast<CK_C_GetFunctionList>(dlsym(handle, "C_GetFunctionList"));
  if (get == nullptr || get(&list) != CKR_OK) {
    found("the scripted module offers no function list");
  }
  return list;
}

// An array longer than what the library may allocate does not fit into the heap of this JVM either.
template <auto Make, typename... Rest>
auto bounded(JNIEnv* jni, jsize length, Rest... rest) -> decltype((jni->functions->*Make)(jni, length, rest...)) {
  static const JNINativeInterface_ table = jvm::makeFunctionTable();
  if (length > static_cast<jsize>(kLargestBlock)) {
    jvm::RecordingEnv& env = jvm::self(jni);
    env.record("New...Array", std::to_string(length));
    env.refuse("java/lang/OutOfMemoryError");
    return nullptr;
  }
  return (table.*Make)(jni, length, rest...);
}

bool startsWith(const std::string& text, std::string_view prefix) {
  return text.compare(0, prefix.size(), prefix) == 0;
}

}  // namespace

void found(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::abort();
}

World::World() : table_(*env.jni()->functions) {
  static const bool once = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new EndTheProcess);
    return true;
  }();
  static_cast<void>(once);
  table_.NewByteArray = bounded<&JNINativeInterface_::NewByteArray>;
  table_.NewIntArray = bounded<&JNINativeInterface_::NewIntArray>;
  table_.NewLongArray = bounded<&JNINativeInterface_::NewLongArray>;
  table_.NewObjectArray = bounded<&JNINativeInterface_::NewObjectArray, jclass, jobject>;
  env.jni()->functions = &table_;

  token().reset();
  functionList = listOf(token().path());
  functionList->C_Initialize(nullptr);
  CK_SESSION_HANDLE opened = 0;
  functionList->C_OpenSession(0x11, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &opened);
  if (opened != hSession) {
    found("the token has changed its handles");
  }
  bInitialized = true;
  listening = &env;
}

World::~World() {
  allocationsUntilRefusal = 0;
  if (hLibModule != nullptr) {
    dlclose(hLibModule);
  }
  hLibModule = nullptr;
  functionList = nullptr;
  bInitialized = false;
  pC_SetCallBack = nullptr;
  g_bIsSecondAuthenticationRequired = true;
  freeLibrary = 0;
  std::memset(g_SignerPin, 0, sizeof g_SignerPin);
  std::memset(sLibName, 0, sizeof sLibName);
  std::memset(sLibFullPath, 0, sizeof sLibFullPath);
  token().reset();
  listening = nullptr;
}

void World::answer(const std::string& line) {
  token().answer(line);
}

void World::startEverything() {
  CK_MECHANISM mechanism = {CKM_SHA_1, nullptr, 0};
  for (const auto init : {&CK_FUNCTION_LIST::C_EncryptInit, &CK_FUNCTION_LIST::C_DecryptInit,
                          &CK_FUNCTION_LIST::C_SignInit, &CK_FUNCTION_LIST::C_SignRecoverInit,
                          &CK_FUNCTION_LIST::C_VerifyInit, &CK_FUNCTION_LIST::C_VerifyRecoverInit}) {
    (functionList->*init)(hSession, &mechanism, hSecretKey);
  }
  functionList->C_DigestInit(hSession, &mechanism);
}

void World::refuseAllocation(std::uint64_t n) {
  allocationsUntilRefusal = n;
}

jvalue World::argument(const registry::Method& method, const Arguments& arguments, std::size_t index) {
  using registry::Kind;
  const std::vector<Kind>& kinds = method.signature.parameters;
  const auto follows = [&](std::size_t distance) {
    return index >= distance && kinds[index - distance] == Kind::ByteArray;
  };
  const auto isLastArray = [&](std::size_t at) {
    return std::find(kinds.begin() + static_cast<std::ptrdiff_t>(at) + 1, kinds.end(), Kind::ByteArray) == kinds.end();
  };
  const auto isOutput = [&](std::size_t at) {
    return isLastArray(at) && (method.fillsCallersArray() || method.javaName() == "J_GenerateRandom");
  };
  jvalue value = {.j = 0};
  switch (kinds[index]) {
  case Kind::Boolean:
    value.z = arguments.flag ? JNI_TRUE : JNI_FALSE;
    break;
  case Kind::Byte:
    value.b = static_cast<jbyte>(arguments.number);
    break;
  case Kind::Int:
    value.i = follows(1)   ? (isOutput(index - 1) ? arguments.outputOffset : arguments.offset)
              : follows(2) ? (isOutput(index - 2) ? arguments.outputLength : arguments.length)
                           : arguments.number;
    break;
  case Kind::Long:
    value.j = index == 0 && kinds.size() > 1 && (kinds[1] == Kind::Boolean || kinds[1] == Kind::Object)
                  ? static_cast<jlong>(hSession)
                  : arguments.handle;
    break;
  case Kind::Object:
    value.l = method.className() == "NativeSession" ? arguments.mechanism : nullptr;
    break;
  case Kind::String:
    value.l =
        method.reportName == "loadCryptokiLibrary" ? env.string("string", std::string(token().path())) : arguments.text;
    break;
  case Kind::ByteArray:
    value.l = isOutput(index) ? arguments.output : arguments.input;
    break;
  case Kind::IntArray:
    value.l = arguments.types;
    break;
  case Kind::ObjectArray:
    value.l = arguments.templates.at(templates_++);
    break;
  case Kind::Void:
  case Kind::Class:
  case Kind::LongArray:
    found(method.label() + ": no argument can be made for a parameter");
  }
  return value;
}

void World::call(const registry::Method& method, const Arguments& arguments) {
  std::vector<jvalue> values;
  for (std::size_t i = 0; i < method.signature.parameters.size(); ++i) {
    values.push_back(argument(method, arguments, i));
  }
  const jobject self = method.signature.isStatic               ? env.classOf("velnor/nat/" + method.className())
                       : method.className() == "NativeSlot"    ? env.slot("slot", 0x11)
                       : method.className() == "NativeSession" ? env.session("session", static_cast<jlong>(hSession))
                                                               : env.object("self", "velnor/nat/" + method.className());
  token().listen(listen);
  method.signature.call(env.jni(), self, values);
  allocationsUntilRefusal = 0;
  static const bool shows = std::getenv("HARLUNE_FUZZ_SHOW") != nullptr;
  if (shows) {
    std::fprintf(stderr, "%s\n%s%s\n", method.label().c_str(), env.trace().c_str(), env.pending().c_str());
  }
  judgeLoans(method);
  judgeReports(method);
}

std::vector<std::string> World::moduleLines() const {
  return jvm::moduleLines(env.journal());
}

void World::judgeLoans(const registry::Method& method) const {
  env.loans.checkGuards();
  for (const std::string& name : env.loans.out()) {
    const bool mayStay = std::any_of(faults::kKeptLoans.begin(), faults::kKeptLoans.end(), [&](const auto& kept) {
      return kept.of(method) && kept.array == name && (!kept.afterFailureOnly || !env.thrown().empty());
    });
    if (!mayStay) {
      found(method.label() + ": the elements or characters of " + name + " are still lent");
    }
  }
}

void World::judgeReports(const registry::Method& method) const {
  // Exceptions come from reports, which read as one line when they are well-formed, or from the JVM.
  for (const std::string& line : jvm::folded(env.journal())) {
    if (startsWith(line, "Throw ")) {
      found(method.label() + ": a malformed report: " + line);
    }
    if (!startsWith(line, "report ")) {
      continue;
    }
    const std::string name = line.substr(8, line.find('"', 8) - 8);
    static const std::vector<std::string> others = {"Mechanism2CKMechanism", "Check64BitLen", "J_EncryptInit",
                                                    "J_DecryptInit",         "J_DigestInit",  "J_SignInit",
                                                    "J_VerifyInit",          "J_SeedRandom"};
    if (name != method.reportName && std::find(others.begin(), others.end(), name) == others.end()) {
      found(method.label() + ": reports under a foreign name: " + line);
    }
  }
  // The last answer of the module is the method's own, so a refusal must have reached Java.
  const std::vector<std::string> lines = moduleLines();
  if (lines.empty() || lines.back().find(" -> CKR_OK") != std::string::npos || !env.thrown().empty()) {
    return;
  }
  const std::string& refusal = lines.back();
  const bool tolerated = std::any_of(faults::kToleratedCodes.begin(), faults::kToleratedCodes.end(), [&](auto& row) {
    return row.of(method) && startsWith(refusal, row.function + " ");
  });
  if (!tolerated) {
    found(method.label() + ": a refusal is not reported: " + refusal);
  }
}

const registry::Method& choose(const std::vector<const registry::Method*>& methods, std::string_view word) {
  for (const registry::Method* const method : methods) {
    const std::string& symbol = method->symbol;
    const std::size_t overload = symbol.find("__");
    if (method->javaName() == word ||
        (overload != std::string::npos && method->javaName() + symbol.substr(overload) == word)) {
      return *method;
    }
  }
  return *oneOf(methods, word);
}

}  // namespace fuzz
