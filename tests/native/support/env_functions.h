/// The sections of the function table.
#pragma once

#include "recording_env.h"

namespace jvm {

/// Classes, members, exceptions, references.
void addClassFunctions(JNINativeInterface_& table);
/// Fields, constructors, method calls.
void addObjectFunctions(JNINativeInterface_& table);
/// Arrays of bytes, ints, longs, characters and objects.
void addArrayFunctions(JNINativeInterface_& table);
/// Strings in their modified UTF-8 form.
void addStringFunctions(JNINativeInterface_& table);

}  // namespace jvm
