/// The entries of the module, each with the signature that the standard gives it.
#pragma once

#include "pkcs11.h"

#include <type_traits>

namespace scripted {

#define X(name) std::remove_pointer_t<CK_##name> name;
#include "functions.inc"
#undef X

}  // namespace scripted
