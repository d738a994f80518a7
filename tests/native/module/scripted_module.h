/// The scripted PKCS#11 module: a small deterministic token, and answers that a test puts in its mouth.
///
/// Without a script it behaves as the standard wants: one token in slot 0x11 (0x22 is an empty slot), user PIN "1234",
/// SO PIN "87654321", session handles counted from 0x5E51 and object handles from 0xB01:
///   0xB01 secret key, 0xB02 public key, 0xB03 private key, 0xB04 data object, 0xB05 certificate.
/// Its toy cryptography is readable: encryption swaps the case of letters (every byte xor 0x20, multi-part output in
/// blocks of 4), a signature is "SIG:" and the data reversed, with recovery "REC:" and the data reversed, a digest is
/// the data cut or padded with dots to the digest's size, a wrapped key is "WRAP:" and the key's CKA_VALUE.
///
/// A script line queues the answer to the next call of one function: `FUNCTION [CKR_NAME | 0xCODE] [key=value |
/// word]...`
///   C_Sign                                  the toy's own answer; a place holder before a later one
///   C_Sign CKR_DEVICE_ERROR                 this return value; the toy is not asked and nothing is written
///   C_Sign CKR_BUFFER_TOO_SMALL length=2000 ... and this in the length that the caller passed by address
///   C_Sign CKR_OK length=5000               claims 5000 bytes and writes none
///   C_Sign size=2000                        the toy's output is 2000 bytes, handed out by the rules of the standard
///   C_Sign data="abc"  C_Sign data=00FF     the toy's output is this
///   C_Sign data="abc" length=9 write=1      ... but the claimed length and the number of written bytes differ
///   C_FindObjects list=1..50  C_GetSlotList list=0x100000001,2 count=7     values, and a count that lies
///   C_OpenSession handle=0xFFFFFFFF80000007      C_GenerateKeyPair handle=1 private=2
///   C_GetTokenInfo label="Token" ulSessionCount=-1                          fields of an information structure
///   C_GetAttributeValue data="value" length=-1                              of every entry of the template
///   C_Sign throws="int"    a C++ exception: an "int", a "code" (CK_RV), a "text", or a std::runtime_error that says so
/// Words: `always` (never used up), `unread` (the input is not looked at, for lengths that lie), `block` (waits,
/// without the module's lock, until scripted_release), `delay=MS`, `asks` (has the callback of C_SetCallBack tell the
/// signer PIN first; without one the answer is CKR_PIN_INCORRECT).
#pragma once

#include "pkcs11.h"

extern "C" {

using scripted_listener_t = void (*)(const char* line);

/// Forgets scripts, journal, sessions, objects, the callback and the listener.
void scripted_reset();
/// Queues an answer; non-zero when the line is not understood, and then scripted_error() tells why.
int scripted_answer(const char* line);
const char* scripted_error();
/// Queued answers that no call has used yet, one a line; `always` answers do not count.
const char* scripted_unused();
/// Every call since the last reset or scripted_clear_journal, one a line. Valid until this thread's next call.
const char* scripted_journal();
void scripted_clear_journal();
/// Is told every line of the journal as it is written.
void scripted_set_listener(scripted_listener_t listener);
/// Makes the n-th module call (from 1) from now on answer `Rv`; 0 cancels.
void scripted_fail_call(unsigned long n, CK_RV Rv);
/// Module calls since the last reset.
unsigned long scripted_calls();
/// Lets blocked calls go on.
void scripted_release();
/// How many calls are waiting in `block`.
int scripted_blocked();
/// Calls the callback that C_SetCallBack installed; CKR_GENERAL_ERROR when there is none.
CK_RV scripted_call_callback(CK_CHAR_PTR pPin, CK_ULONG_PTR pulPinLen);
/// The installed callback, null when there is none.
CK_VOID_PTR scripted_callback();

}  // extern "C"
