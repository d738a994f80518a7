#include "names_absent.h"

#include <prtypes.h>  // what the NSS header includes must not end up in the namespace

namespace nss {
#include <nss/pkcs11.h>
}

#define FACTS_NAMESPACE nss
#define FACTS_FUNCTION nssFacts
#include "collect.h"
