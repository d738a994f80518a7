/// Initialising a token, and setting and changing PINs.
#include "harlune.h"
#include "loans.h"
#include "lookups.h"
#include "velnor_nat_NativeSession.h"
#include "velnor_nat_NativeSlot.h"

#include <cstring>

JNIEXPORT void JNICALL Java_velnor_nat_NativeSlot_J_1InitToken(JNIEnv* env, jobject jSlot, jstring jSOPin,
                                                               jstring jTokenlabel) {
  Utf8Characters pSOPin = {};
  Utf8Characters pTokenLabel = {};
  LogFunction("J_InitToken - entry", CKR_OK);
  frame(env, "J_InitToken", [&] {
    const CK_SLOT_ID SlotId = getSlotID(env, jSlot);
    borrowPin(env, pSOPin, jSOPin, "pSOPin is NULL", "SOPinLen = 0");
    borrowCharacters(env, pTokenLabel, jTokenlabel, "pTokenLabel is NULL");
    CK_UTF8CHAR TokenLabel[32];
    std::memset(TokenLabel, ' ', sizeof TokenLabel);
    std::memcpy(TokenLabel, pTokenLabel.characters, strnlen(pTokenLabel.characters, sizeof TokenLabel));
    callModule(&CK_FUNCTION_LIST::C_InitToken, SlotId, text(pSOPin), pSOPin.length, TokenLabel);
  });
  giveBack(env, pSOPin);
  giveBack(env, pTokenLabel);
  LogFunction("J_InitToken - exit", CKR_OK);
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1InitPIN(JNIEnv* env, jobject jSession, jstring jPin) {
  Utf8Characters pPin = {};
  LogFunction("J_InitPIN - entry", CKR_OK);
  frame(env, "J_InitPIN", [&] {
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    borrowPin(env, pPin, jPin, "pPin is NULL", "pPinLen = 0");
    callModule(&CK_FUNCTION_LIST::C_InitPIN, hSession, text(pPin), pPin.length);
  });
  giveBack(env, pPin);
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1SetPIN(JNIEnv* env, jobject jSession, jstring jOldPin,
                                                               jstring jNewPin) {
  Utf8Characters pOldPin = {};
  Utf8Characters pNewPin = {};
  LogFunction("J_SetPIN - entry", CKR_OK);
  frame(env, "J_SetPIN", [&] {
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    borrowPin(env, pOldPin, jOldPin, "pOldPin is NULL", "pOldPinLen = 0");
    borrowPin(env, pNewPin, jNewPin, "pNewPin is NULL", "pNewPinLen = 0");
    callModule(&CK_FUNCTION_LIST::C_SetPIN, hSession, text(pOldPin), pOldPin.length, text(pNewPin), pNewPin.length);
  });
  giveBack(env, pOldPin);
  giveBack(env, pNewPin);
}
