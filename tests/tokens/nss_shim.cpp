/// NSS's softoken for applications that call C_Initialize(NULL): the token wants its library parameters there, in a
/// field of its own behind the standard's. This module is the softoken's function list with another C_Initialize, which
/// adds the parameters of the environment variable NSS_SHIM_PARAMETERS.
#include "pkcs11.h"

#include <cstdlib>
#include <dlfcn.h>

namespace {

// The softoken's own form of CK_C_INITIALIZE_ARGS: one field more, before the reserved one.
struct SoftokenInitializeArgs {
  CK_CREATEMUTEX CreateMutex;
  CK_DESTROYMUTEX DestroyMutex;
  CK_LOCKMUTEX LockMutex;
  CK_UNLOCKMUTEX UnlockMutex;
  CK_FLAGS flags;
  char* LibraryParameters;
  CK_VOID_PTR pReserved;
};

CK_FUNCTION_LIST* softoken = nullptr;
CK_FUNCTION_LIST shim;

CK_RV initializeWithParameters(CK_VOID_PTR) {
  SoftokenInitializeArgs arguments{};
  arguments.flags = CKF_OS_LOCKING_OK;
  arguments.LibraryParameters = std::getenv("NSS_SHIM_PARAMETERS");
  return arguments.LibraryParameters == nullptr ? CKR_ARGUMENTS_BAD : softoken->C_Initialize(&arguments);
}

CK_FUNCTION_LIST* loadSoftoken() {
  void* library = dlopen("libsoftokn3.so", RTLD_NOW | RTLD_LOCAL);
  void* entry = library == nullptr ? nullptr : dlsym(library, "C_GetFunctionList");
  CK_FUNCTION_LIST* list = nullptr;
  if (entry == nullptr || reinterpret_cast<CK_C_GetFunctionList>(entry)(&list) != CKR_OK) {
    return nullptr;
  }
  return list;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
  softoken = loadSoftoken();
  if (softoken == nullptr) {
    return CKR_GENERAL_ERROR;
  }
  shim = *softoken;
  shim.C_Initialize = initializeWithParameters;
  shim.C_GetFunctionList = C_GetFunctionList;
  *ppFunctionList = &shim;
  return CKR_OK;
}
