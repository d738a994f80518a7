/// What Java objects stand for, and new Java objects of what PKCS#11 answers: sessions, slots, versions, arrays.
///
/// Each lookup raises the text by which applications know its failure. Methods that look up several things do so in an
/// order of their own, which is why a slot and a version come in single steps.
#pragma once

#include "harlune.h"
#include "memory.h"

/// The class of Java sessions.
jclass findSessionClass(JNIEnv* env);

/// The session of a Java `NativeSession`: the low 32 bits of its long field, sign-extended.
CK_SESSION_HANDLE getSessionHandle(JNIEnv* env, jobject jSession);

/// The class of Java slots.
jclass findSlotClass(JNIEnv* env);

/// Where a Java slot keeps its ID; the text of a missing field is the method's own.
jfieldID findSlotID(JNIEnv* env, jclass NativeSlotClass, const char* missing);

/// The slot of a Java `NativeSlot` whose field has been looked up.
CK_SLOT_ID getSlotID(JNIEnv* env, jobject jSlot, jfieldID slotID);

/// The slot of a Java `NativeSlot`, for the methods that look up nothing between its class and its field.
CK_SLOT_ID getSlotID(JNIEnv* env, jobject jSlot);

/// The class of Java versions, and its constructor, which takes the minor number first.
jclass findVersionClass(JNIEnv* env);
jmethodID findVersionConstructor(JNIEnv* env, jclass VersionClass);

/// A new `velnor.Version`.
jobject newVersion(JNIEnv* env, jclass VersionClass, jmethodID constructor, const CK_VERSION& version,
                   const char* refused);

/// A new Java byte[] of `length` bytes out of `buffer`. A refused array raises the text; a module that claims more
/// bytes than it was given room for raises one of its own.
jbyteArray newByteArray(JNIEnv* env, const Buffer& buffer, CK_ULONG length, const char* refused);

/// Raises a text unless a count or length that the module reported lies within what it was offered.
void requireWithin(CK_ULONG reported, CK_ULONG offered);
