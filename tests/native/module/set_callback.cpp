/// The vendor entry of the signer-PIN family. HARLUNE_CALLBACK_FAILS makes it refuse.
#include "call.h"

extern "C" __attribute__((visibility("default"))) CK_RV C_SetCallBack(CK_LONG kind, CK_VOID_PTR callback) {
  scripted::Call call("C_SetCallBack");
  call.add("kind", std::to_string(kind)).pointer("callback", callback);
#ifdef HARLUNE_CALLBACK_FAILS
  return call.finish(CKR_FUNCTION_FAILED);
#else
  const CK_RV Rv = call.script.rv.value_or(CKR_OK);
  if (Rv == CKR_OK) {
    call.token().callback = callback;
  }
  return call.finish(Rv);
#endif
}
