/// Loading any number of modules, and what concerns a module as a whole.
#include "functions.h"
#include "functions_tables.h"
#include "module.h"
#include "module_files.h"
#include "velnor_nat_NativeFunctions.h"

#include <atomic>
#include <cstdio>
#include <dlfcn.h>
#include <link.h>

namespace {

/// Ids are places in this table and begin with 1. No program has as many modules: the table is an end for one that
/// makes files of modules without end.
std::atomic<const Module*> modules[1024];

/// Copies a text as far as there is room and tells how long it is.
jint tell(JNIEnv* env, jbyteArray room, const char* text) {
  const auto length = static_cast<jint>(std::strlen(text));
  if (room != nullptr) {
    env->SetByteArrayRegion(room, 0, std::min(length, env->GetArrayLength(room)), reinterpret_cast<const jbyte*>(text));
  }
  return length;
}

/// Fills the text unless the module has refused with an answer of its own.
struct LoadFailure {
  CK_RV Rv;
  char text[2 * sizeof sLibFullPath];  // the loader's texts name the file
};

void explain(LoadFailure& why, CK_RV Rv, const char* text) {
  why.Rv = Rv;
  std::snprintf(why.text, sizeof why.text, "%s", text);
}

constexpr char kStandardInterface[] = "PKCS 11";

/// The list of an interface, or null for one that does not begin as the standard's of version 3.0: the versions after
/// it add functions at the end.
const CK_FUNCTION_LIST_3_0* listOf(const CK_INTERFACE* interface) {
  if (interface == nullptr || interface->pFunctionList == nullptr) {
    return nullptr;
  }
  const auto list = static_cast<const CK_FUNCTION_LIST_3_0*>(interface->pFunctionList);
  return list->version.major == 3 ? list : nullptr;
}

bool isStandard(const CK_INTERFACE& interface) {
  return interface.pInterfaceName != nullptr &&
         std::strcmp(reinterpret_cast<const char*>(interface.pInterfaceName), kStandardInterface) == 0;
}

/// The newest list of version 3 among the interfaces that the module tells of, or null.
const CK_FUNCTION_LIST_3_0* findListed_3_0(void* hModule) {
  const auto getInterfaceList = reinterpret_cast<CK_C_GetInterfaceList>(dlsym(hModule, "C_GetInterfaceList"));
  CK_INTERFACE interfaces[64] = {};  // a module has two or three
  CK_ULONG count = std::size(interfaces);
  if (getInterfaceList == nullptr || guarded([&] { return getInterfaceList(interfaces, &count); }) != CKR_OK) {
    return nullptr;
  }
  const CK_FUNCTION_LIST_3_0* newest = nullptr;
  for (CK_ULONG i = 0; i < std::min<CK_ULONG>(count, std::size(interfaces)); ++i) {
    const CK_FUNCTION_LIST_3_0* const list = isStandard(interfaces[i]) ? listOf(&interfaces[i]) : nullptr;
    if (list != nullptr && (newest == nullptr || list->version.minor > newest->version.minor)) {
      newest = list;
    }
  }
  return newest;
}

/// The newest list of version 3 that the module has, or null.
const CK_FUNCTION_LIST_3_0* findList_3_0(void* hModule) {
  if (const CK_FUNCTION_LIST_3_0* const listed = findListed_3_0(hModule)) {
    return listed;
  }
  const auto getInterface = reinterpret_cast<CK_C_GetInterface>(dlsym(hModule, "C_GetInterface"));
  if (getInterface == nullptr) {
    return nullptr;
  }
  for (CK_VERSION version : {CK_VERSION{3, 2}, CK_VERSION{3, 1}, CK_VERSION{3, 0}}) {
    CK_UTF8CHAR name[sizeof kStandardInterface] = {};
    std::memcpy(name, kStandardInterface, sizeof name);
    CK_INTERFACE_PTR found = nullptr;
    const CK_RV Rv = guarded([&] { return getInterface(name, &version, &found, 0); });
    if (const CK_FUNCTION_LIST_3_0* const given = Rv == CKR_OK ? listOf(found) : nullptr) {
      return given;
    }
  }
  return nullptr;
}

/// What the loader has found; a path that does not begin at the root is completed. The module stays where it is, even
/// if it gives itself back to the loader.
void rememberPath(void* hModule, Module& module) {
  const link_map* map = nullptr;
  if (dlinfo(hModule, RTLD_DI_LINKMAP, &map) != 0 || map->l_name == nullptr) {
    return;
  }
  keepMapped(map->l_name);
  char* const whole = map->l_name[0] == '/' ? nullptr : realpath(map->l_name, nullptr);
  const char* const path = whole == nullptr ? map->l_name : whole;
  const std::size_t size = std::strlen(path) + 1;
  if (path[0] == '/' && size <= sizeof module.path) {
    std::memcpy(module.path, path, size);
  }
  std::free(whole);
}

bool describe(void* hModule, const char* name, Module& module, LoadFailure& why) {
  const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(dlsym(hModule, "C_GetFunctionList"));
  if (getFunctionList == nullptr) {
    explain(why, CKR_GENERAL_ERROR, "C_GetFunctionList function not found in pkcs#11 library");
    return false;
  }
  CK_FUNCTION_LIST_PTR list = nullptr;
  why.Rv = guarded([&] { return getFunctionList(&list); });
  if (why.Rv != CKR_OK) {
    return false;
  }
  if (list == nullptr) {
    explain(why, CKR_GENERAL_ERROR, "C_GetFunctionList of the pkcs#11 library gave no list");
    return false;
  }
  module.hModule = hModule;
  module.list = list;
  // C_WaitForSlotEvent, the last entry, came with version 2.01.
  const bool isFirst = list->version.major < 2 || (list->version.major == 2 && list->version.minor == 0);
  module.listSize = sizeof(CK_FUNCTION_LIST) - (isFirst ? sizeof list->C_WaitForSlotEvent : 0);
  module.list_3_0 = findList_3_0(hModule);
  module.setCallBack =
      isOfCallbackFamily(name) ? reinterpret_cast<C_SetCallBack_t>(dlsym(hModule, "C_SetCallBack")) : nullptr;
  rememberPath(hModule, module);
  module.isSecondAuthenticationRequired = module.path[0] == '\0' || !configurationDeclaresSignerPin(module.path);
  return true;
}

/// The id under which a module is in the table, or 0: the loader gives the same handle for the same file.
jlong findId(void* hModule) {
  for (std::size_t i = 0; i < std::size(modules); ++i) {
    const Module* const there = modules[i].load(std::memory_order_acquire);
    if (there == nullptr || there->hModule == hModule) {
      return there == nullptr ? 0 : static_cast<jlong>(i + 1);
    }
  }
  return 0;
}

/// Takes a module into the table, unless another thread was faster. Its id, or 0 when the table is full.
jlong enter(const Module* module, bool& isNew) {
  for (std::size_t i = 0; i < std::size(modules); ++i) {
    const Module* there = nullptr;
    isNew = modules[i].compare_exchange_strong(there, module);
    if (isNew || there->hModule == module->hModule) {
      return static_cast<jlong>(i + 1);
    }
  }
  return 0;
}

jlong enterCopy(const Module& module, bool& isNew, LoadFailure& why) {
  const auto copy = static_cast<Module*>(std::malloc(sizeof module));
  if (copy == nullptr) {
    why.Rv = CKR_HOST_MEMORY;
    return 0;
  }
  *copy = module;
  const jlong id = enter(copy, isNew);
  if (!isNew) {
    std::free(copy);
  }
  if (id == 0) {
    explain(why, CKR_GENERAL_ERROR, "too many pkcs#11 libraries");
  }
  return id;
}

/// An unwinder that is linked in does not know the registers before its first raise. A module's exceptions come from
/// another unwinder, so without one raise of our own they could not be caught here.
void wakeUnwinder() {
  try {
    raise(CKR_OK);
  } catch (CK_RV) {
    return;
  }
}

/// The id of the module, or 0. Nothing is locked: a file that the loader cannot get through keeps nobody else waiting.
jlong load(const char* name, LoadFailure& why) {
  const char* const hindrance = whyNotToLoad(name);
  void* const hModule = hindrance == nullptr ? dlopen(name, RTLD_LAZY) : nullptr;
  if (hModule == nullptr) {
    why.Rv = CKR_GENERAL_ERROR;
    std::snprintf(why.text, sizeof why.text, "error loading pkcs#11 library: %s%s%s", hindrance == nullptr ? "" : name,
                  hindrance == nullptr ? "" : ": ", hindrance == nullptr ? dlerror() : hindrance);
    return 0;
  }
  bool isNew = false;
  jlong id = findId(hModule);
  if (id == 0) {
    wakeUnwinder();
    Module module = {};
    id = describe(hModule, name, module, why) ? enterCopy(module, isNew, why) : 0;
  }
  if (!isNew) {
    dlclose(hModule);  // the record holds the module once
  }
  return id;
}

template <auto member>
bool offers(const Module& module) {
  return findEntry(module, member) != nullptr;
}

#define OFFERS(name) offers<&CK_FUNCTION_LIST_3_0::name>,
constexpr bool (*offered[])(const Module&) = {ALL_FUNCTIONS(OFFERS)};
#undef OFFERS

}  // namespace

const Module* findModule(jlong id) {
  return id > 0 && id <= static_cast<jlong>(std::size(modules)) ? modules[id - 1].load(std::memory_order_acquire)
                                                                : nullptr;
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_version(JNIEnv*, jclass) {
  return libVersion.major << 8 | libVersion.minor;
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_description(JNIEnv* env, jclass, jint Rv, jbyteArray text) {
  return tell(env, text, getCryptokiErrorDesc(static_cast<std::uint32_t>(Rv)));
}

JNIEXPORT jlong JNICALL Java_velnor_nat_NativeFunctions_load(JNIEnv* env, jclass, jbyteArray path, jbyteArray text) {
  jlong id = 0;
  LoadFailure why = {CKR_ARGUMENTS_BAD, ""};
  const CK_RV Rv = withBytes(env, path, [&](Bytes bytes) {
    char name[sizeof sLibFullPath];
    if (bytes.length == 0 || std::memchr(bytes.bytes, 0, bytes.length) != nullptr) {
      explain(why, CKR_ARGUMENTS_BAD, "No cryptoki library specified");
    } else if (bytes.length >= sizeof name) {
      explain(why, CKR_ARGUMENTS_BAD, "name of the pkcs#11 library is too long");
    } else {
      std::memcpy(name, bytes.bytes, bytes.length);
      name[bytes.length] = '\0';
      id = load(name, why);
    }
    return id == 0 ? why.Rv : CKR_OK;
  });
  return Rv == CKR_OK ? id : failure(Rv, widen(tell(env, text, why.text)));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_path(JNIEnv* env, jclass, jlong module, jbyteArray path) {
  const Module* const found = findModule(module);
  return found == nullptr ? 0 : tell(env, path, found->path);
}

JNIEXPORT jboolean JNICALL Java_velnor_nat_NativeFunctions_isSecondAuthenticationRequired(JNIEnv*, jclass,
                                                                                          jlong module) {
  const Module* const found = findModule(module);
  return found == nullptr || found->isSecondAuthenticationRequired ? JNI_TRUE : JNI_FALSE;
}

JNIEXPORT jboolean JNICALL Java_velnor_nat_NativeFunctions_has(JNIEnv*, jclass, jlong module, jint function) {
  const Module* const found = findModule(module);
  const bool isKnown = found != nullptr && function >= 0 && function < static_cast<jint>(std::size(offered));
  return isKnown && offered[function](*found) ? JNI_TRUE : JNI_FALSE;
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_initialize(JNIEnv* env, jclass, jlong module,
                                                                  jbyteArray arguments) {
  return answer(callOnly(module, &CK_FUNCTION_LIST_3_0::C_Initialize, [&](auto C_Initialize) {
    return withStructure(env, arguments, [&](Bytes structure) {
      const bool isWhole = structure.bytes == nullptr || structure.length >= sizeof(CK_C_INITIALIZE_ARGS);
      return isWhole ? C_Initialize(structure.bytes) : CKR_ARGUMENTS_BAD;
    });
  }));
}

JNIEXPORT jint JNICALL Java_velnor_nat_NativeFunctions_finish(JNIEnv*, jclass, jlong module) {
  return answer(
      callOnly(module, &CK_FUNCTION_LIST_3_0::C_Finalize, [](auto C_Finalize) { return C_Finalize(nullptr); }));
}
