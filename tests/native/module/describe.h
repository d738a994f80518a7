/// Templates and mechanisms as a journal shows them.
#pragma once

#include "pkcs11.h"

#include <string>

namespace scripted {

/// Bytes as text::bytes, or `null` and `non-null(LENGTH)` where there is nothing to be looked at.
std::string input(const void* bytes, CK_ULONG length, bool unread);

/// `[0x0 8:0300000000000000, 0x3 5:"label", 0x10 0:null]`
std::string valueTemplate(const CK_ATTRIBUTE* pTemplate, CK_ULONG ulCount, bool unread);
/// `[0x3 2048:non-null]`: what a read offers.
std::string readTemplate(const CK_ATTRIBUTE* pTemplate, CK_ULONG ulCount);

/// `0x220`, `0x136 parameter=8:3132333435363738`, or `0x9 parameter=40:{hashAlg=0x220 ...}` for a structure that points
/// elsewhere.
std::string mechanism(const CK_MECHANISM* pMechanism, bool unread);

}  // namespace scripted
