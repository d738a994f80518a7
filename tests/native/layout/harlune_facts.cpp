namespace harlune {
#include "pkcs11.h"
}

#define FACTS_NAMESPACE harlune
#define FACTS_FUNCTION harluneFacts
#include "collect.h"
