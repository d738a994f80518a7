/// What the loader of a module looks up. Odd modules are this file compiled with one of
///   HARLUNE_LIST_FAILS         C_GetFunctionList fails, and leaves a list behind that nobody may use
///   HARLUNE_LIST_NULL          C_GetFunctionList answers CKR_OK with a null list
///   HARLUNE_LIST_EMPTY         every entry of the list is null
///   HARLUNE_KEEPS_PARAMETERS   the entries are those of keeping_entries.cpp
/// or without this file, for a module that has no C_GetFunctionList.
#include "call.h"
#include "entries.h"
#include "keeping_entries.h"

namespace {

CK_FUNCTION_LIST list = {};

}  // namespace

extern "C" __attribute__((visibility("default"))) CK_RV C_GetFunctionList(CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
  list.version = {2, 40};
#ifdef HARLUNE_LIST_FAILS
  *ppFunctionList = reinterpret_cast<CK_FUNCTION_LIST_PTR>(0xBAD0);
  return CKR_FUNCTION_FAILED;
#else
#ifndef HARLUNE_LIST_EMPTY
#define X(name) list.name = scripted::name;
#include "functions.inc"
#undef X
  list.C_GetFunctionList = C_GetFunctionList;
#ifdef HARLUNE_KEEPS_PARAMETERS
  scripted::keepParameters(list);
#endif
#endif
  scripted::Call call("C_GetFunctionList");
  const CK_RV Rv = call.script.rv.value_or(CKR_OK);
  if (Rv == CKR_OK) {
#ifdef HARLUNE_LIST_NULL
    *ppFunctionList = nullptr;
#else
    *ppFunctionList = &list;
#endif
  }
  return call.finish(Rv);
#endif
}
