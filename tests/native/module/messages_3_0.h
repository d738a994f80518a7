/// For a scripted module with the interface of version 3.0.
#pragma once

#include "pkcs11.h"

namespace scripted {

/// Puts the functions of messages into the list.
void addMessages(CK_FUNCTION_LIST_3_0& list);

}  // namespace scripted
