/// For a scripted module that keeps the addresses of parameters.
#pragma once

#include "pkcs11.h"

namespace scripted {

/// Puts entries that do so in the place of those of the operations.
void keepParameters(CK_FUNCTION_LIST& list);

}  // namespace scripted
