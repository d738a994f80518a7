/// A token that gives random bytes and, with the first of them, does to its process what HARLUNE_ROGUE names: what no
/// module should and some will. It keeps to what a process can survive.
#include "pkcs11.h"

#include <clocale>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

namespace {

CK_FUNCTION_LIST list = {};

/// Gives the loader's handle back once more than it took it.
void unloadItself() {
  Dl_info own;
  if (dladdr(&list, &own) != 0) {
    void* const handle = dlopen(own.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    dlclose(handle);
    dlclose(handle);
  }
}

void misbehave() {
  const char* const named = std::getenv("HARLUNE_ROGUE");
  const std::string_view what = named == nullptr ? "" : named;
  if (what == "unloads itself") {
    unloadItself();
  } else if (what == "empties its list") {
    std::memset(&list, 0, sizeof list);
  } else if (what == "forks") {
    const pid_t child = fork();
    if (child == 0) {
      _exit(0);
    }
    waitpid(child, nullptr, 0);
  } else if (what == "moves") {
    std::setlocale(LC_ALL, "C.UTF-8");
    if (chdir("/") != 0) {
      std::abort();
    }
  }
}

CK_RV generateRandom(CK_SESSION_HANDLE, CK_BYTE_PTR bytes, CK_ULONG length) {
  misbehave();
  std::memset(bytes, 'r', length);
  return CKR_OK;
}

CK_RV getSlotList(CK_BBOOL, CK_SLOT_ID_PTR pSlotList, CK_ULONG_PTR pulCount) {
  if (pSlotList != nullptr) {
    pSlotList[0] = 0;
  }
  *pulCount = 1;
  return CKR_OK;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
  list.version = {2, 40};
  list.C_Initialize = [](CK_VOID_PTR) -> CK_RV { return CKR_OK; };
  list.C_Finalize = [](CK_VOID_PTR) -> CK_RV { return CKR_OK; };
  list.C_GetSlotList = getSlotList;
  list.C_OpenSession = [](CK_SLOT_ID, CK_FLAGS, CK_VOID_PTR, CK_NOTIFY, CK_SESSION_HANDLE_PTR phSession) -> CK_RV {
    *phSession = 1;
    return CKR_OK;
  };
  list.C_CloseSession = [](CK_SESSION_HANDLE) -> CK_RV { return CKR_OK; };
  list.C_GenerateRandom = generateRandom;
  *ppFunctionList = &list;
  return CKR_OK;
}
