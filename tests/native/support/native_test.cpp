#include "native_test.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <stdexcept>

namespace {

// The module's listener is a plain function; one test runs at a time.
jvm::RecordingEnv* listening = nullptr;

void listen(const char* line) {
  if (listening != nullptr) {
    listening->note(line);
  }
}

void forgetModule() {
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
  std::fill(std::begin(sLibName), std::end(sLibName), '\0');
  std::fill(std::begin(sLibFullPath), std::end(sLibFullPath), '\0');
}

}  // namespace

ScriptedModule::ScriptedModule(const char* path) : path_(path), handle_(dlopen(path, RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) {
    throw std::runtime_error(dlerror());
  }
  reset();
}

ScriptedModule::~ScriptedModule() {
  reset();
  dlclose(handle_);
}

void* ScriptedModule::symbol(const char* name) const {
  void* const found = dlsym(handle_, name);
  if (found == nullptr) {
    throw std::runtime_error(dlerror());
  }
  return found;
}

void ScriptedModule::answer(const std::string& line) {
  if (call<int(const char*)>("scripted_answer")(line.c_str()) != 0) {
    ADD_FAILURE() << "script: " << line << "\n" << call<const char*()>("scripted_error")();
  }
}

UnboundTest::UnboundTest() {
  forgetModule();
  listening = &env;
  module.listen(listen);
}

UnboundTest::~UnboundTest() {
  forgetModule();
  listening = nullptr;
}

void UnboundTest::TearDown() {
  env.loans.checkGuards();
  EXPECT_EQ(env.loans.out(), expectedOut_) << "elements or characters still lent";
  EXPECT_FALSE(env.faultsLeft()) << "a planned failure never happened";
  EXPECT_EQ(module.unused(), "") << "scripted answers that no call used";
}

void UnboundTest::load(const char* path, bool freeLib) {
  Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary3(jni, env.classOf("velnor/nat/NativeCryptoki"),
                                                      env.string("library", std::string(path)),
                                                      freeLib ? JNI_TRUE : JNI_FALSE, JNI_FALSE);
  EXPECT_EQ(env.pending(), "");
  env.clear();
}

void UnboundTest::initialize() {
  Java_velnor_nat_NativeCryptoki_Initialize(jni, cryptoki, nullptr);
  EXPECT_EQ(env.pending(), "");
  env.clear();
}

std::string UnboundTest::takeTrace() {
  std::string trace = env.trace();
  env.clearJournal();
  return trace;
}

std::string UnboundTest::takeModuleTrace() {
  std::string trace = jvm::joined(jvm::moduleLines(env.journal()));
  env.clearJournal();
  return trace;
}

NativeTest::NativeTest() {
  load(module.path());
  initialize();
  CK_SESSION_HANDLE opened = 0;
  if (functionList != nullptr) {
    EXPECT_EQ(functionList->C_OpenSession(0x11, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &opened),
              CKR_OK);
  }
  EXPECT_EQ(opened, hSession);
  env.clear();
  module.clearJournal();
}
