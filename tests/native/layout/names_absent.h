/// Stand-ins for the names of our header, to be included before a foreign header. Where the foreign header knows a
/// name, its macro or its own declaration wins; where it does not, the stand-in is found and tells so. No `#ifdef` per
/// name.
#pragma once

namespace absent {

struct Nothing {};

#define CONSTANT(name) inline constexpr Nothing name;
#define TYPE(name) using name = Nothing;
#define FIELD(structure, member)
#include "pkcs11_names.inc"
#undef CONSTANT
#undef TYPE
#undef FIELD

}  // namespace absent
