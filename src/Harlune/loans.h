/// What a method borrows from the JVM: declared before the frame, borrowed in it, given back behind it, because Java
/// sees the report first.
///
///   ByteElements Data = {};
///   frame(env, "J_SignUpdate", [&] {
///     borrowInput(env, Data, data, "Data is NULL");
///     callModule(&CK_FUNCTION_LIST::C_SignUpdate, handle(hSession), at(Data, dataOff), widen(dataLen));
///   });
///   giveBack(env, Data, JNI_ABORT);
#pragma once

#include "harlune.h"

/// The elements of a Java byte[]; a zeroed value has borrowed nothing.
struct ByteElements {
  jbyteArray array;
  jbyte* elements;
};

/// Borrows the elements of an array that the module reads; a null array or refused elements raise the text.
void borrowInput(JNIEnv* env, ByteElements& loan, jbyteArray array, const char* missing);

/// Borrows the elements if there are any to be had; the caller looks at `loan.elements`.
void tryBorrow(JNIEnv* env, ByteElements& loan, jbyteArray array);

/// Gives the elements back, if any were borrowed: JNI_ABORT for input, 0 to copy output back.
void giveBack(JNIEnv* env, const ByteElements& loan, jint mode);

/// The borrowed element at a Java offset, or null when nothing was borrowed. Offsets are the caller's business and are
/// not compared with the array.
CK_BYTE_PTR at(const ByteElements& loan, jint offset);

/// Where a module writes: the rest of the caller's array behind an offset, or a length query (null, length 0).
struct Output {
  CK_BYTE_PTR bytes;
  CK_ULONG length;
};

/// Borrows the caller's output array; a missing array or refused elements make a length query.
Output borrowOutput(JNIEnv* env, ByteElements& loan, jbyteArray array, jint offset);

/// The modified UTF-8 characters of a Java string; a zeroed value has borrowed nothing.
struct Utf8Characters {
  jstring string;
  const char* characters;
  CK_ULONG length;
};

/// Borrows the characters of a string; a null string (the JVM is not asked) or refused characters raise the text.
void borrowCharacters(JNIEnv* env, Utf8Characters& loan, jstring string, const char* missing);

/// Borrows the characters of a PIN and measures them; an empty PIN raises the second text before a module is asked.
void borrowPin(JNIEnv* env, Utf8Characters& loan, jstring string, const char* missing, const char* empty);

/// Gives the characters back, if any were borrowed.
void giveBack(JNIEnv* env, const Utf8Characters& loan);

/// The characters as a PKCS#11 text.
CK_UTF8CHAR_PTR text(const Utf8Characters& loan);
