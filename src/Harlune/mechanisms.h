/// Mechanisms between their Java and their PKCS#11 form; `FreeMechanism`, which is exported, frees them again.
#pragma once

#include "harlune.h"

/// Fills `Mechanism` from a Java `velnor.Mechanism`. Raises texts and CKR_HOST_MEMORY; the parameter is attached only
/// when complete. Some rows report a short text at once before they raise the long one. Free with `FreeMechanism`.
void Mechanism2CKMechanism(JNIEnv* env, jobject jMechanism, CK_MECHANISM* Mechanism);
