/// Reading and writing the attributes of one object.
#include "harlune.h"
#include "lookups.h"
#include "memory.h"
#include "templates.h"
#include "velnor_nat_NativeSession.h"

JNIEXPORT jobject JNICALL Java_velnor_nat_NativeSession_J_1GetAttributeValue__JI(JNIEnv* env, jobject jSession,
                                                                                 jlong jObject, jint attribute) {
  CK_ATTRIBUTE entry = {};
  jobject jAttribute = nullptr;
  LogFunction("J_GetAttributeValue - entry", CKR_OK);
  frame(env, "J_GetAttributeValue", [&] {
    Attribute2CKAttribute_Get(env, attribute, &entry);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    const AttributeClass attributeClass = findAttributeClass(env, "Pkcs11Attribute constructor' not found");
    jobject value = nullptr;
    requireOk(readAttribute(env, hSession, handle(jObject), entry, value));
    jAttribute = newAttribute(env, attributeClass, entry, value, "Template is NULL");
  });
  release(entry.pValue);
  LogFunction("J_GetAttributeValue - exit", CKR_OK);
  return jAttribute;
}

JNIEXPORT jobjectArray JNICALL Java_velnor_nat_NativeSession_J_1GetAttributeValue__J_3I(JNIEnv* env, jobject jSession,
                                                                                        jlong jObject,
                                                                                        jintArray attributes) {
  Template GetTemplate = {};
  jobjectArray jAttributes = nullptr;
  LogFunction("J_GetAttributeValue - entry", CKR_OK);
  frame(env, "J_GetAttributeValue", [&] {
    Attribute2CKAttribute_Get(env, attributes, GetTemplate);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    const AttributeClass attributeClass = findAttributeClass(env, "Attribute constructor' not found");
    const jint length = Check64BitLen(env, GetTemplate.count);
    const jobjectArray jTemplate =
        require(env->NewObjectArray(length, attributeClass.path, nullptr), "jTemplate is NULL");
    for (jint Index = 0; Index < length; ++Index) {
      jobject value = nullptr;
      const CK_RV Rv = readAttribute(env, hSession, handle(jObject), GetTemplate.entries[Index], value);
      // An attribute that the object does not have reads as null; every other refusal fails the whole list.
      if (Rv != CKR_ATTRIBUTE_TYPE_INVALID) {
        requireOk(Rv);
      }
      env->SetObjectArrayElement(
          jTemplate, Index,
          newAttribute(env, attributeClass, GetTemplate.entries[Index], value, "Pkcs11Attribute object is NULL"));
    }
    jAttributes = jTemplate;
  });
  freeReadTemplate(GetTemplate);
  LogFunction("J_GetAttributeValue - exit", CKR_OK);
  return jAttributes;
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeSession_J_1SetAttributeValue(JNIEnv* env, jobject jSession, jlong jObject,
                                                                          jobjectArray jTemplate) {
  Template SetTemplate = {};
  LogFunction("J_SetAttributeValue - entry", CKR_OK);
  frame(env, "J_SetAttributeValue", [&] {
    Attribute2CKAttribute(env, jTemplate, SetTemplate);
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    callModule(&CK_FUNCTION_LIST::C_SetAttributeValue, hSession, handle(jObject), SetTemplate.entries,
               SetTemplate.count);
  });
  freeTemplate(SetTemplate);
  LogFunction("J_SetAttributeValue - exit", CKR_OK);
}
