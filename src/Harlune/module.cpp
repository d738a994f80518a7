/// The record of the bound module and its loading.
#include "module.h"

#include "harlune.h"
#include "memory.h"
#include "module_files.h"
#include "velnor_nat_NativeCryptoki.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>

CK_FUNCTION_LIST_PTR functionList = nullptr;
void* hLibModule = nullptr;
char sLibName[1024] = {};
char sLibFullPath[4096] = {};
int freeLibrary = 0;
bool bInitialized = false;
C_SetCallBack_t pC_SetCallBack = nullptr;
bool g_bIsSecondAuthenticationRequired = true;
CK_BYTE g_SignerPin[20] = {};
CK_VERSION libVersion = {HARLUNE_VERSION_MAJOR, HARLUNE_VERSION_MINOR};

namespace {

/// The marker in a module's file name that tells the family with the vendor callback.
constexpr char kCallbackFamily[] = "sissp11";

/// Raised texts are not owned by whoever catches them, so the loader's own message outlives the load that failed.
char loaderMessage[512];

void raiseLoaderMessage() {
  const char* const reason = dlerror();
  if (reason != nullptr) {
    std::snprintf(loaderMessage, sizeof loaderMessage, "error loading pkcs#11 library: %s", reason);
  } else {
    std::snprintf(loaderMessage, sizeof loaderMessage, "error loading pkcs#11 library");
  }
  raise(loaderMessage);
}

void lookUpVendorCallback(const char* library) {
  if (isOfCallbackFamily(library)) {
    pC_SetCallBack = reinterpret_cast<C_SetCallBack_t>(dlsym(hLibModule, "C_SetCallBack"));
  }
}

/// Copies the module's path into the library state and lets its configuration file decide on second authentication.
void rememberFullPath(const char* library) {
  char* const path = getmodulepath(hLibModule, library);
  if (path == nullptr) {
    sLibFullPath[0] = '\0';
    return;
  }
  const std::size_t length = std::strlen(path);
  if (length >= sizeof sLibFullPath) {
    release(path);
    raise("full path of the pkcs#11 library is too long");
  }
  std::memcpy(sLibFullPath, path, length + 1);
  release(path);
  g_bIsSecondAuthenticationRequired = !configurationDeclaresSignerPin(sLibFullPath);
}

}  // namespace

bool isOfCallbackFamily(const char* library) {
  char* const lowered = strdup(library);
  if (lowered == nullptr) {
    return false;
  }
  for (char* c = lowered; *c != '\0'; ++c) {
    *c = static_cast<char>(std::tolower(static_cast<unsigned char>(*c)));
  }
  const bool marked = std::strstr(lowered, kCallbackFamily) != nullptr;
  release(lowered);
  return marked;
}

void keepMapped(const char* name) {
  dlopen(name, RTLD_LAZY | RTLD_NOLOAD | RTLD_NODELETE);
}

void closeModule() {
  dlclose(hLibModule);
  hLibModule = nullptr;
  // The entry may belong to an earlier module that stays mapped, so ask the loader whether anything is there still.
  Dl_info owner;
  if (pC_SetCallBack != nullptr && dladdr(reinterpret_cast<void*>(pC_SetCallBack), &owner) == 0) {
    pC_SetCallBack = nullptr;
  }
}

void loadLibrary(const char* library, int freeLib, int /*bChangeDir*/) {
  if (functionList != nullptr) {
    invoke(&CK_FUNCTION_LIST::C_Finalize, nullptr);
  }
  functionList = nullptr;
  bInitialized = false;
  if (library == nullptr) {
    raise("No cryptoki library specified");
  }
  if (std::strlen(library) >= sizeof sLibName) {
    raise("name of the pkcs#11 library is too long");
  }
  if (hLibModule != nullptr && freeLib != 0) {
    closeModule();
  }
  // Without freeLib the predecessor stays mapped on purpose, for callers that still hold pointers into it.
  hLibModule = dlopen(library, RTLD_LAZY);
  if (hLibModule == nullptr) {
    raiseLoaderMessage();
  }
  const auto getFunctionList = reinterpret_cast<CK_C_GetFunctionList>(dlsym(hLibModule, "C_GetFunctionList"));
  if (getFunctionList == nullptr) {
    raise("C_GetFunctionList function not found in pkcs#11 library");
  }
  lookUpVendorCallback(library);
  CK_FUNCTION_LIST_PTR list = nullptr;
  requireOk(getFunctionList(&list));
  g_bIsSecondAuthenticationRequired = true;
  rememberFullPath(library);
  functionList = list;
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary(JNIEnv* env, jclass NativeCryptokiClass,
                                                                          jstring cryptokiLibrary) {
  Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary2(env, NativeCryptokiClass, cryptokiLibrary, JNI_TRUE);
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary2(JNIEnv* env, jclass NativeCryptokiClass,
                                                                           jstring cryptokiLibrary, jboolean freeLib) {
  Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary3(env, NativeCryptokiClass, cryptokiLibrary, freeLib, JNI_FALSE);
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary3(JNIEnv* env, jclass, jstring cryptokiLibrary,
                                                                           jboolean freeLib, jboolean changedir) {
  LogFunction("loadCryptokiLibrary - entry", CKR_OK);
  const char* library = nullptr;
  if (cryptokiLibrary != nullptr) {
    library = env->GetStringUTFChars(cryptokiLibrary, nullptr);
  }
  reporting(env, "loadCryptokiLibrary", [&] {
    loadLibrary(library, freeLib, changedir);
    std::memcpy(sLibName, library, std::strlen(library) + 1);  // loadLibrary has refused what does not fit
    freeLibrary = freeLib != JNI_FALSE ? 1 : 0;
  });
  if (library != nullptr) {
    env->ReleaseStringUTFChars(cryptokiLibrary, library);
  }
  LogFunction("loadCryptokiLibrary - exit", CKR_OK);
}

JNIEXPORT jstring JNICALL Java_velnor_nat_NativeCryptoki_getLastLoadedLibraryFullPath(JNIEnv* env, jclass) {
  return env->NewStringUTF(sLibFullPath);
}

JNIEXPORT jboolean JNICALL Java_velnor_nat_NativeCryptoki_IsSecondAuthenticationRequired(JNIEnv*, jobject) {
  return g_bIsSecondAuthenticationRequired ? JNI_TRUE : JNI_FALSE;
}
