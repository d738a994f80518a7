/// Attributes and templates between their Java and their PKCS#11 form.
///
///   Template pTemplate = {};
///   frame(env, "J_CreateObject", [&] {
///     Attribute2CKAttribute(env, jTemplate, pTemplate);
///     callModule(&CK_FUNCTION_LIST::C_CreateObject, hSession, pTemplate.entries, pTemplate.count, &hObject);
///   });
///   freeTemplate(pTemplate);
#pragma once

#include "harlune.h"

/// Attributes as a module takes them. A zeroed value owns nothing.
struct Template {
  CK_ATTRIBUTE_PTR entries;
  CK_ULONG count;
};

/// The size of the value buffer of a read template.
inline constexpr CK_ULONG kReadBufferSize = 2048;

/// Builds a template from a Java `velnor.Attribute[]`; null gives one of no entries. Raises texts and CKR_HOST_MEMORY;
/// what was allocated by then stays attached to the template. Free it with `freeTemplate`.
void Attribute2CKAttribute(JNIEnv* env, jobjectArray jTemplate, Template& made);

/// Builds a read template from a Java int[] of attribute types (null counts as empty). All entries share one value
/// buffer, so each is to be read and converted before the next. Free it with `freeReadTemplate`.
void Attribute2CKAttribute_Get(JNIEnv* env, jintArray jAttributes, Template& made);

/// Fills one read entry with a value buffer of its own, or a null one when the allocator refuses.
void Attribute2CKAttribute_Get(JNIEnv* env, jint jAttribute, CK_ATTRIBUTE_PTR entry);

/// Converts a filled entry into a new Integer, Boolean or byte[] by its type alone; null for a type without conversion.
jobject CkAttribute2Pkcs11Attribute(JNIEnv* env, CK_ATTRIBUTE elemTemplate);

/// The Java class that attributes read from a token become. The text of a missing constructor is the method's own.
struct AttributeClass {
  jclass path;
  jmethodID constructor;
};
AttributeClass findAttributeClass(JNIEnv* env, const char* constructorMissing);

/// A new `velnor.Attribute` of an entry's type (its low 32 bits) and a value, which may be null.
jobject newAttribute(JNIEnv* env, const AttributeClass& attributeClass, const CK_ATTRIBUTE& entry, jobject value,
                     const char* refused);

/// Reads one attribute into `entry` and, when the module answers CKR_OK, converts it into `value`; else `value` is
/// null.
CK_RV readAttribute(JNIEnv* env, CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE& entry,
                    jobject& value);

/// Gives back a template of `Attribute2CKAttribute`: every value, then the entries.
void freeTemplate(const Template& made);

/// Gives back a read template: the one shared value buffer, then the entries.
void freeReadTemplate(const Template& made);
