/// Where the modules of the tests lie.
#pragma once

namespace modules {

extern const char* const kScripted;                ///< scripted-module.so
extern const char* const kSissp11;                 ///< libsissp11-scripted.so, with C_SetCallBack
extern const char* const kSissp11Capitals;         ///< libSISSP11-SCRIPTED.so, with C_SetCallBack
extern const char* const kSissp11NoCallback;       ///< libsissp11-no-callback.so
extern const char* const kSissp11FailingCallback;  ///< libsissp11-failing-callback.so
extern const char* const kCallbackOtherName;       ///< callback-module.so: C_SetCallBack under a name that hides it
extern const char* const kNoFunctionList;          ///< without C_GetFunctionList
extern const char* const kListFails;               ///< C_GetFunctionList fails and leaves a bogus list behind
extern const char* const kListNull;                ///< C_GetFunctionList answers CKR_OK with a null list
extern const char* const kListEmpty;               ///< every entry of the list is null

extern const char* const kPuppet;                ///< what it has is a test's; see functions/puppet.h
extern const char* const kPuppetWithInterfaces;  ///< that, with C_GetInterface
extern const char* const kPuppetWithCallback;    ///< that, with C_SetCallBack

}  // namespace modules
