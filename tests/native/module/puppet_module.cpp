/// A module that has nothing but what a test gives it: the function list, the answer with it, and, compiled with
/// HARLUNE_PUPPET_INTERFACES or HARLUNE_PUPPET_CALLBACK, its interfaces or the vendor entry for a callback. Every copy
/// of the file is a module of its own.
#include "pkcs11.h"

#define EXPORTED __attribute__((visibility("default")))

extern "C" {

// Set by tests through dlsym.
EXPORTED CK_RV (*puppet_get_function_list)(CK_FUNCTION_LIST_PTR_PTR) = nullptr;
EXPORTED CK_RV (*puppet_get_interface)(CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR, CK_FLAGS) = nullptr;

EXPORTED CK_RV (*puppet_get_interface_list)(CK_INTERFACE_PTR, CK_ULONG_PTR) = nullptr;

EXPORTED CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
  return puppet_get_function_list == nullptr ? CKR_FUNCTION_FAILED : puppet_get_function_list(ppFunctionList);
}

#ifdef HARLUNE_PUPPET_INTERFACES
EXPORTED CK_RV C_GetInterface(CK_UTF8CHAR_PTR pInterfaceName, CK_VERSION_PTR pVersion, CK_INTERFACE_PTR_PTR ppInterface,
                              CK_FLAGS flags) {
  return puppet_get_interface == nullptr ? CKR_FUNCTION_FAILED
                                         : puppet_get_interface(pInterfaceName, pVersion, ppInterface, flags);
}

EXPORTED CK_RV C_GetInterfaceList(CK_INTERFACE_PTR pInterfacesList, CK_ULONG_PTR pulCount) {
  return puppet_get_interface_list == nullptr ? CKR_FUNCTION_FAILED
                                              : puppet_get_interface_list(pInterfacesList, pulCount);
}
#endif

#ifdef HARLUNE_PUPPET_CALLBACK
EXPORTED CK_RV (*puppet_set_callback)(CK_LONG, CK_VOID_PTR) = nullptr;

EXPORTED CK_RV C_SetCallBack(CK_LONG kind, CK_VOID_PTR callback) {
  return puppet_set_callback == nullptr ? CKR_FUNCTION_FAILED : puppet_set_callback(kind, callback);
}
#endif

}  // extern "C"
