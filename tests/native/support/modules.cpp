#include "modules.h"

namespace modules {

const char* const kScripted = MODULE_SCRIPTED;
const char* const kSissp11 = MODULE_SISSP11;
const char* const kSissp11Capitals = MODULE_SISSP11_CAPITALS;
const char* const kSissp11NoCallback = MODULE_SISSP11_NO_CALLBACK;
const char* const kSissp11FailingCallback = MODULE_SISSP11_FAILING_CALLBACK;
const char* const kCallbackOtherName = MODULE_CALLBACK_OTHER_NAME;
const char* const kNoFunctionList = MODULE_NO_FUNCTION_LIST;
const char* const kListFails = MODULE_LIST_FAILS;
const char* const kListNull = MODULE_LIST_NULL;
const char* const kListEmpty = MODULE_LIST_EMPTY;
const char* const kPuppet = MODULE_PUPPET;
const char* const kPuppetWithInterfaces = MODULE_PUPPET_INTERFACES;
const char* const kPuppetWithCallback = MODULE_PUPPET_CALLBACK;

}  // namespace modules
