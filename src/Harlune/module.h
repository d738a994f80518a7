/// What other sources ask of the module that is bound: to load and close it, and to hand it the signer PIN's callback;
/// and what concerns modules of either family.
#pragma once

#include "harlune.h"

/// Binds the module `library`; a failed load leaves the library unbound. Raises a text or a return value.
void loadLibrary(const char* library, int freeLib, int bChangeDir);

/// Closes the bound module's handle; `pC_SetCallBack` is forgotten once the module it points into is unmapped.
void closeModule();

/// Empties the signer PIN and hands `GetPIN` to a module that offers the vendor entry.
void installSignerPinCallback(C_SetCallBack_t setCallBack);

/// Whether a module's file name marks the family that asks for the signer PIN through the vendor entry.
bool isOfCallbackFamily(const char* library);

/// Has the loader keep a library, loaded under this name, for as long as the process lives, however often anybody gives
/// it back.
void keepMapped(const char* name);
