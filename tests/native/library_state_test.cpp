/// What the library keeps from one call to the next, compared with a model after each of many calls that load modules,
/// initialise and finalise them and open sessions, in any order, half of them failing.
#include "module_copies.h"
#include "native_test.h"

#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <map>
#include <random>
#include <set>

namespace {

/// A file that may be loaded, and how far that goes.
struct File {
  std::string name;
  bool opens = true;
  bool hasEntry = true;
  bool givesList = true;
  bool hasList = true;
  bool declaresSignerPin = false;
  bool isOfFamily = false;
  bool hasCallback = false;
};

/// The state as it should be.
struct Model {
  const File* handle = nullptr;
  const File* list = nullptr;
  bool initialized = false;
  const File* name = nullptr;
  const File* fullPath = nullptr;
  bool freeLibrary = false;
  bool secondAuthentication = true;
  const File* callback = nullptr;
  std::string pin;
  std::map<const File*, int> opened;  ///< how often and not yet closed
  std::set<const File*> running;      ///< the modules that are initialised, which is their own affair

  void close() {
    if (--opened[handle] == 0) {
      running.erase(handle);
    }
    handle = nullptr;
    if (callback != nullptr && opened[callback] == 0) {
      callback = nullptr;
    }
  }

  /// Whether the load succeeds.
  bool load(const File* file, bool freeLib) {
    running.erase(list);
    list = nullptr;
    initialized = false;
    if (file == nullptr || file->name.size() >= sizeof sLibName) {
      return false;
    }
    if (handle != nullptr && freeLib) {
      close();
    }
    handle = file->opens ? file : nullptr;
    if (handle == nullptr) {
      return false;
    }
    ++opened[handle];
    if (!file->hasEntry) {
      return false;
    }
    if (file->isOfFamily) {
      callback = file->hasCallback ? file : nullptr;
    }
    if (!file->givesList) {
      return false;
    }
    secondAuthentication = !file->declaresSignerPin;
    fullPath = file;
    list = file->hasList ? file : nullptr;
    return true;
  }
};

class LibraryStateTest : public UnboundTest, public ::testing::WithParamInterface<unsigned> {
protected:
  LibraryStateTest() {
    const auto add = [this](const char* scripted, const std::string& name) -> File& {
      files.push_back({directory.copy(scripted, name)});
      return files.back();
    };
    files.reserve(20);
    add(modules::kScripted, "plain.so");
    add(modules::kScripted, "other.so").declaresSignerPin = true;
    for (const char* const name : {"libsissp11-one.so", "libsissp11-two.so"}) {
      File& file = add(modules::kSissp11, name);
      file.isOfFamily = file.hasCallback = true;
    }
    add(modules::kSissp11NoCallback, "libsissp11-none.so").isOfFamily = true;
    add(modules::kCallbackOtherName, "hidden-callback.so");
    add(modules::kNoFunctionList, "no-entry.so").hasEntry = false;
    add(modules::kListFails, "list-fails.so").givesList = false;
    add(modules::kListNull, "list-null.so").hasList = false;
    files.push_back({directory / "missing.so", false});
    files.push_back({directory.write("text.so", "no library\n"), false});
    files.push_back({"/" + std::string(sizeof sLibName - 1, 'x'), false});
    for (const File& file : files) {
      if (file.declaresSignerPin) {
        std::ofstream(file.name + ".conf") << "DsPinIsCNSPin=true";
      }
    }
    model.pin = std::string(sizeof g_SignerPin, '\0');
  }
  ~LibraryStateTest() override {
    while (!model.opened.empty()) {  // what stays open would be open in the next test
      const auto [file, times] = *model.opened.begin();
      for (int i = 0; i < times; ++i) {
        void* const handle = dlopen(file->name.c_str(), RTLD_LAZY | RTLD_NOLOAD);
        if (handle != nullptr) {
          dlclose(handle);
          dlclose(handle);
        }
      }
      model.opened.erase(file);
    }
    hLibModule = nullptr;
    functionList = nullptr;
    bInitialized = false;
    pC_SetCallBack = nullptr;
    std::memset(g_SignerPin, 0, sizeof g_SignerPin);
  }

  unsigned any(unsigned count) { return std::uniform_int_distribution<unsigned>(0, count - 1)(random); }

  /// Has the module that is bound refuse its next call of a function, if it can be told; whether it will.
  bool refuse(const File* file, const std::string& line) {
    if (file == nullptr || any(3) != 0) {
      return false;
    }
    void* const handle = dlopen(file->name.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    EXPECT_EQ(reinterpret_cast<int (*)(const char*)>(dlsym(handle, "scripted_answer"))(line.c_str()), 0);
    dlclose(handle);
    return true;
  }

  void load(const File* file, bool freeLib) {
    Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary2(jni, env.classOf("velnor/nat/NativeCryptoki"),
                                                        file == nullptr ? nullptr : env.string("library", file->name),
                                                        freeLib ? JNI_TRUE : JNI_FALSE);
    if (model.load(file, freeLib)) {
      model.name = file;
      model.freeLibrary = freeLib;
    }
  }

  void initialize() {
    const bool binds = !model.initialized && model.list == nullptr;
    const bool refuses = !model.initialized && refuse(model.list, "C_Initialize CKR_DEVICE_ERROR");
    Java_velnor_nat_NativeCryptoki_Initialize(jni, cryptoki, nullptr);
    if (binds && !model.load(model.name, model.freeLibrary)) {
      return;
    }
    if (!model.initialized && model.list != nullptr && !refuses) {
      model.initialized = model.running.insert(model.list).second;
    }
  }

  void finalize() {
    const bool refuses = model.initialized && refuse(model.list, "C_Finalize CKR_DEVICE_ERROR");
    Java_velnor_nat_NativeCryptoki_Finalize(jni, cryptoki, nullptr);
    if (model.initialized && model.list != nullptr && !refuses) {
      model.running.erase(model.list);
      model.close();
      model.initialized = false;
    }
    model.list = nullptr;
  }

  void openSession() {
    const bool refuses = model.initialized && refuse(model.list, "C_OpenSession CKR_DEVICE_ERROR");
    Java_velnor_nat_NativeSlot_J_1OpenSession__I(jni, env.slot("slot", 0x11), CKF_SERIAL_SESSION);
    if (model.initialized && model.list != nullptr && !refuses) {
      model.pin = std::string(sizeof g_SignerPin, '\0');
    }
  }

  void ask() {
    Java_velnor_nat_NativeCryptoki_GetInfo(jni, cryptoki);
    Java_velnor_nat_NativeCryptoki_GetSlotList(jni, cryptoki, JNI_TRUE);
  }

  /// Another component writes the PIN there, which may have zeroes in it.
  void writePin() {
    for (char& c : model.pin) {
      c = static_cast<char>(any(3));
    }
    std::memcpy(g_SignerPin, model.pin.data(), sizeof g_SignerPin);
  }

  std::string step() {
    switch (any(8)) {
    case 0:
    case 1: {
      const unsigned i = any(static_cast<unsigned>(files.size()) + 1);
      const File* const file = i == files.size() ? nullptr : &files[i];
      const bool freeLib = any(2) == 0;
      load(file, freeLib);
      return "load " + (file == nullptr ? "nothing" : file->name.substr(0, 100)) + (freeLib ? " and free" : "");
    }
    case 2:
    case 3:
      initialize();
      return "Initialize";
    case 4:
      finalize();
      return "Finalize";
    case 5:
      openSession();
      return "OpenSession";
    case 6:
      writePin();
      return "a PIN";
    default:
      ask();
      return "GetInfo";
    }
  }

  static std::string fileOf(void* handle) {
    const link_map* map = nullptr;
    return handle == nullptr ? "none" : dlinfo(handle, RTLD_DI_LINKMAP, &map) == 0 ? map->l_name : "a closed one";
  }
  /// The file that an address lies in.
  static std::string fileAt(const void* address) {
    Dl_info owner = {};
    return address == nullptr ? "none" : dladdr(address, &owner) != 0 ? owner.dli_fname : "an unmapped one";
  }
  static std::string nameOf(const File* file) { return file == nullptr ? "none" : file->name; }
  static std::string textOf(const File* file) { return file == nullptr ? "" : file->name; }

  void expectModel() {
    EXPECT_EQ(fileOf(hLibModule), nameOf(model.handle));
    EXPECT_EQ(fileAt(functionList), nameOf(model.list));
    EXPECT_EQ(bInitialized, model.initialized);
    EXPECT_EQ(sLibName, textOf(model.name));
    EXPECT_EQ(sLibFullPath, textOf(model.fullPath));
    EXPECT_EQ(freeLibrary, model.freeLibrary ? 1 : 0);
    EXPECT_EQ(g_bIsSecondAuthenticationRequired, model.secondAuthentication);
    EXPECT_EQ(fileAt(reinterpret_cast<const void*>(pC_SetCallBack)), nameOf(model.callback));
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(g_SignerPin), sizeof g_SignerPin), model.pin);
    for (const File& file : files) {
      EXPECT_EQ(file.opens && isMapped(file.name), model.opened[&file] > 0) << file.name;
    }
  }

  const ModuleDirectory directory;
  std::vector<File> files;
  Model model;
  std::mt19937 random{GetParam()};
};

TEST_P(LibraryStateTest, IsTheModelsAfterEveryCall) {
  load(&files[0], true);  // without a name the loader opens the program itself
  std::string steps;
  for (int i = 0; i < 150; ++i) {
    steps += step() + "\n";
    env.clear();
    env.clearException();
    expectModel();
    ASSERT_FALSE(HasFailure()) << steps;
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, LibraryStateTest, ::testing::Range(1U, 9U));

}  // namespace
