#include "names_absent.h"

#include <stddef.h>  // what the p11-kit header includes must not end up in the namespace

namespace p11kit {
#include <p11-kit-1/p11-kit/pkcs11.h>
#include <p11-kit-1/p11-kit/pkcs11x.h>
}  // namespace p11kit

#define FACTS_NAMESPACE p11kit
#define FACTS_FUNCTION p11kitFacts
#include "collect.h"
