/// What a PKCS#11 header says, in a form that can be compared: one line of text per name.
#pragma once

#include <map>
#include <string>

/// "value 0x5" for a constant, "size 8 align 8 is unsigned long" for a type, "at 8 size 4 is ..." for
/// "structure.member". A name that the header does not know is missing.
using Facts = std::map<std::string, std::string>;

Facts harluneFacts();
Facts nssFacts();
Facts p11kitFacts();

/// The type's spelling without the namespace that its header was put into; structure tags in capitals.
std::string plainTypeName(const char* mangled);
