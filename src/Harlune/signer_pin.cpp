/// The callback through which a module of the callback family asks for the signer PIN while it signs.
#include "harlune.h"
#include "module.h"

#include <cstring>
#include <dlfcn.h>

namespace {

CK_ULONG measureSignerPin() {
  return strnlen(reinterpret_cast<const char*>(g_SignerPin), sizeof g_SignerPin);
}

/// A module keeps the callback for as long as it likes, but a JVM unmaps the library with the class loader that it was
/// loaded for.
void keepCallbackMapped() {
  Dl_info own;
  if (dladdr(reinterpret_cast<void*>(&GetPIN), &own) != 0) {
    keepMapped(own.dli_fname);
  }
}

}  // namespace

CK_RV GetPIN(CK_CHAR_PTR pPin, CK_ULONG_PTR ulPinLen) {
  LogFunction("GetPIN - Entering function", CKR_OK);
  *ulPinLen = measureSignerPin();
  if (*ulPinLen == 0) {
    LogFunction("GetPIN - No defined signer pin", CKR_OK);
    *ulPinLen = measureSignerPin();
  }
  if (pPin == nullptr) {
    return CKR_OK;
  }
  LogFunction("GetPIN - Copying signer pin (%d bytes)", CKR_OK, static_cast<int>(*ulPinLen));
  std::memcpy(pPin, g_SignerPin, *ulPinLen);
  return CKR_OK;
}

void installSignerPinCallback(C_SetCallBack_t setCallBack) {
  explicit_bzero(g_SignerPin, sizeof g_SignerPin);
  if (setCallBack != nullptr) {
    keepCallbackMapped();
    const CK_RV Rv = setCallBack(0, reinterpret_cast<CK_VOID_PTR>(&GetPIN));
    LogFunction("C_SetCallBack", Rv);  // a module that refuses the callback must not fail the session
  }
}
