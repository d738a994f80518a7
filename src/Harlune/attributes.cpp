/// Attribute templates between their Java and their PKCS#11 form.
#include "harlune.h"
#include "lookups.h"
#include "memory.h"
#include "templates.h"

namespace {

/// What an attribute's type says of its value: the Java class it becomes, and the length a read offers for it.
struct AttributeKind {
  CK_ATTRIBUTE_TYPE first;
  CK_ATTRIBUTE_TYPE last;
  enum { Number, Truth, Bytes } value;
  CK_ULONG readLength;
};

constexpr CK_ULONG kNumber = sizeof(CK_ULONG);
constexpr CK_ULONG kTruth = sizeof(CK_BBOOL);

/// Ascending by type. A type in no row is read into the whole buffer and becomes null.
constexpr AttributeKind kAttributeKinds[] = {
    {CKA_CLASS, CKA_CLASS, AttributeKind::Number, kNumber},
    {CKA_TOKEN, CKA_PRIVATE, AttributeKind::Truth, kTruth},
    {CKA_LABEL, CKA_LABEL, AttributeKind::Bytes, kReadBufferSize},
    {CKA_APPLICATION, CKA_VALUE, AttributeKind::Bytes, kReadBufferSize},
    {CKA_CERTIFICATE_TYPE, CKA_CERTIFICATE_TYPE, AttributeKind::Number, kNumber},
    {CKA_SERIAL_NUMBER, CKA_SERIAL_NUMBER, AttributeKind::Bytes, kReadBufferSize},
    {CKA_KEY_TYPE, CKA_KEY_TYPE, AttributeKind::Number, kNumber},
    {CKA_SUBJECT, CKA_ID, AttributeKind::Bytes, kReadBufferSize},
    {CKA_SENSITIVE, CKA_DERIVE, AttributeKind::Truth, kTruth},
    {CKA_START_DATE, CKA_END_DATE, AttributeKind::Bytes, kReadBufferSize},
    {CKA_MODULUS, CKA_MODULUS, AttributeKind::Bytes, kReadBufferSize},
    {CKA_MODULUS_BITS, CKA_MODULUS_BITS, AttributeKind::Number, kNumber},
    {CKA_PUBLIC_EXPONENT, CKA_COEFFICIENT, AttributeKind::Bytes, kReadBufferSize},
    {CKA_PRIME, CKA_BASE, AttributeKind::Bytes, kReadBufferSize},
    {CKA_VALUE_LEN, CKA_VALUE_LEN, AttributeKind::Number, kNumber},
    {CKA_EXTRACTABLE, CKA_ALWAYS_SENSITIVE, AttributeKind::Truth, kTruth},
    {CKA_MODIFIABLE, CKA_MODIFIABLE, AttributeKind::Truth, kTruth},
    // Offered the whole buffer although it is a boolean: callers have always seen modules asked so.
    {CKA_ALWAYS_AUTHENTICATE, CKA_ALWAYS_AUTHENTICATE, AttributeKind::Truth, kReadBufferSize},
};

const AttributeKind* findKind(CK_ATTRIBUTE_TYPE type) {
  for (const AttributeKind& kind : kAttributeKinds) {
    if (kind.first <= type && type <= kind.last) {
      return &kind;
    }
  }
  return nullptr;
}

/// The classes and methods by which one call tells Java values apart; the methods are looked up at first need.
struct ValueConverter {
  jclass Integer;
  jclass Boolean;
  jclass String;
  jmethodID intValue;
  jmethodID booleanValue;
};

/// Attaches a value buffer to an entry at once, so that the template owns it whatever fails afterwards.
template <typename T>
T* attach(CK_ATTRIBUTE& entry, CK_ULONG valueLen, CK_ULONG bufferSize) {
  entry.pValue = allocate<CK_BYTE>(bufferSize);
  entry.ulValueLen = valueLen;
  return static_cast<T*>(entry.pValue);
}

void convertValue(JNIEnv* env, ValueConverter& java, jobject jValue, CK_ATTRIBUTE& entry) {
  if (jValue == nullptr) {
    entry.pValue = nullptr;
    entry.ulValueLen = 0;
  } else if (env->IsInstanceOf(jValue, java.Integer)) {
    // Only the low half is written; the zeroed high half is what tokens accept as the number.
    const auto number = attach<jint>(entry, sizeof(CK_ULONG), sizeof(CK_ULONG));
    if (java.intValue == nullptr) {
      java.intValue = require(env->GetMethodID(java.Integer, "intValue", "()I"),
                              "Attribute2CKAttribute - intValue method not found");
    }
    *number = env->CallIntMethod(jValue, java.intValue);
  } else if (env->IsInstanceOf(jValue, java.Boolean)) {
    const auto truth = attach<CK_BBOOL>(entry, sizeof(CK_BBOOL), sizeof(CK_BBOOL));
    if (java.booleanValue == nullptr) {
      java.booleanValue = require(env->GetMethodID(java.Boolean, "booleanValue", "()Z"),
                                  "Attribute2CKAttribute - boolValue method not found");
    }
    *truth = env->CallBooleanMethod(jValue, java.booleanValue) == JNI_TRUE ? CK_TRUE : CK_FALSE;
  } else if (env->IsInstanceOf(jValue, java.String)) {
    const auto string = static_cast<jstring>(jValue);
    // The length is counted in UTF-16 units, but the whole UTF-8 form is copied, which may be longer.
    const CK_ULONG length = widen(env->GetStringLength(string));
    const auto characters = attach<char>(entry, length, widen(env->GetStringUTFLength(string)) + 1);
    env->GetStringUTFRegion(string, 0, Check64BitLen(env, length), characters);
  } else {
    const auto array = static_cast<jbyteArray>(jValue);
    const CK_ULONG length = widen(env->GetArrayLength(array));
    const auto bytes = attach<jbyte>(entry, length, length);
    env->GetByteArrayRegion(array, 0, Check64BitLen(env, length), bytes);
  }
}

jobject newNumber(JNIEnv* env, const CK_ATTRIBUTE& attribute) {
  const jclass IntegerClass =
      require(env->FindClass("java/lang/Integer"), "CkAttribute2Pkcs11Attribute - Class 'java/lang/Integer' not found");
  const jmethodID constructor = require(env->GetMethodID(IntegerClass, "<init>", "(I)V"),
                                        "CkAttribute2Pkcs11Attribute - Integer constructor not found");
  LogFunction("CkAttribute2Pkcs11Attribute : Integer", CKR_OK);
  const jint number = narrow(*static_cast<const CK_ULONG*>(attribute.pValue));
  const jobject object = require(env->NewObject(IntegerClass, constructor, number), "objElemTemplate value is NULL");
  env->DeleteLocalRef(IntegerClass);
  return object;
}

jobject newTruth(JNIEnv* env, const CK_ATTRIBUTE& attribute) {
  const jclass BooleanClass =
      require(env->FindClass("java/lang/Boolean"), "CkAttribute2Pkcs11Attribute - Class 'java/lang/Boolean' not found");
  const jmethodID constructor = require(env->GetMethodID(BooleanClass, "<init>", "(Z)V"),
                                        "CkAttribute2Pkcs11Attribute - Boolean constructor not found");
  LogFunction("CkAttribute2Pkcs11Attribute : Boolean", CKR_OK);
  const jboolean truth = *static_cast<const CK_BBOOL*>(attribute.pValue);
  const jobject object = require(env->NewObject(BooleanClass, constructor, truth),
                                 "CkAttribute2Pkcs11Attribute - objElemTemplate value is NULL");
  env->DeleteLocalRef(BooleanClass);
  return object;
}

jobject newBytes(JNIEnv* env, const CK_ATTRIBUTE& attribute) {
  LogFunction("CkAttribute2Pkcs11Attribute : byte[]", CKR_OK);
  const jbyteArray array = require(env->NewByteArray(Check64BitLen(env, attribute.ulValueLen)),
                                   "CkAttribute2Pkcs11Attribute - byteArrayValue is NULL");
  env->SetByteArrayRegion(array, 0, Check64BitLen(env, attribute.ulValueLen),
                          static_cast<const jbyte*>(attribute.pValue));
  return array;
}

}  // namespace

void Attribute2CKAttribute(JNIEnv* env, jobjectArray jTemplate, Template& made) {
  made = {};
  if (jTemplate == nullptr) {
    return;
  }
  const jclass AttributeClass = require(env->FindClass("velnor/Attribute"), "Class 'velnor/Attribute' not found");
  const jfieldID type = require(env->GetFieldID(AttributeClass, "type", "I"), "Field type not found");
  const jfieldID value =
      require(env->GetFieldID(AttributeClass, "value", "Ljava/lang/Object;"), "Field value not found");
  ValueConverter java = {};
  java.Integer =
      require(env->FindClass("java/lang/Integer"), "Attribute2CKAttribute - Class 'java/lang/Integer' not found");
  java.Boolean =
      require(env->FindClass("java/lang/Boolean"), "Attribute2CKAttribute - Class 'java/lang/Boolean' not found");
  java.String =
      require(env->FindClass("java/lang/String"), "Attribute2CKAttribute - Class 'java/lang/String' not found");

  const jint length = env->GetArrayLength(jTemplate);
  made.entries = allocate<CK_ATTRIBUTE>(widen(length));
  made.count = widen(length);
  for (jint index = 0; index < length; ++index) {
    CK_ATTRIBUTE& entry = made.entries[index];
    const jobject jAttribute =
        require(env->GetObjectArrayElement(jTemplate, index), "Attribute2CKAttribute - attribute is NULL");
    entry.type = widen(env->GetIntField(jAttribute, type));
    convertValue(env, java, env->GetObjectField(jAttribute, value), entry);
  }
  env->DeleteLocalRef(java.Integer);
  env->DeleteLocalRef(java.Boolean);
  env->DeleteLocalRef(java.String);
}

void Attribute2CKAttribute_Get(JNIEnv* env, jintArray jAttributes, Template& made) {
  made.count = 0;
  if (jAttributes == nullptr) {
    return;
  }
  jint* const types =
      require(env->GetIntArrayElements(jAttributes, nullptr), "Attribute2CKAttribute_Get - attributes are NULL");
  const CK_ULONG length = widen(env->GetArrayLength(jAttributes));
  if (length == 0) {
    env->ReleaseIntArrayElements(jAttributes, types, 0);
    return;
  }
  made.entries = static_cast<CK_ATTRIBUTE_PTR>(tryAllocate(length * sizeof(CK_ATTRIBUTE)));
  if (made.entries != nullptr) {
    made.count = length;
    void* shared = nullptr;
    for (CK_ULONG index = 0; index < length; ++index) {
      if (shared == nullptr) {
        shared = tryAllocate(kReadBufferSize);
      }
      made.entries[index] = {widen(types[index]), shared, kReadBufferSize};
    }
  }
  env->ReleaseIntArrayElements(jAttributes, types, 0);
  if (made.entries == nullptr) {
    raise(CKR_HOST_MEMORY);
  }
}

void Attribute2CKAttribute_Get(JNIEnv* /*env*/, jint jAttribute, CK_ATTRIBUTE_PTR entry) {
  *entry = {widen(jAttribute), tryAllocate(kReadBufferSize), kReadBufferSize};
}

void resetAttributeLen(CK_ATTRIBUTE_PTR Attribute) {
  const AttributeKind* const kind = findKind(Attribute->type);
  Attribute->ulValueLen = kind == nullptr ? kReadBufferSize : kind->readLength;
}

jobject CkAttribute2Pkcs11Attribute(JNIEnv* env, CK_ATTRIBUTE elemTemplate) {
  LogFunction("CkAttribute2Pkcs11Attribute - entry", CKR_OK);
  const AttributeKind* const kind = findKind(elemTemplate.type);
  if (kind == nullptr) {
    return nullptr;
  }
  switch (kind->value) {
  case AttributeKind::Number:
    return newNumber(env, elemTemplate);
  case AttributeKind::Truth:
    return newTruth(env, elemTemplate);
  case AttributeKind::Bytes:
    break;
  }
  return newBytes(env, elemTemplate);
}

AttributeClass findAttributeClass(JNIEnv* env, const char* constructorMissing) {
  const jclass path = require(env->FindClass("velnor/Attribute"), "Class 'velnor/Attribute' not found");
  return {path, require(env->GetMethodID(path, "<init>", "(ILjava/lang/Object;)V"), constructorMissing)};
}

jobject newAttribute(JNIEnv* env, const AttributeClass& attributeClass, const CK_ATTRIBUTE& entry, jobject value,
                     const char* refused) {
  return require(env->NewObject(attributeClass.path, attributeClass.constructor, narrow(entry.type), value), refused);
}

CK_RV readAttribute(JNIEnv* env, CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject, CK_ATTRIBUTE& entry,
                    jobject& value) {
  value = nullptr;
  if (entry.pValue == nullptr) {
    return CKR_HOST_MEMORY;  // with no buffer the module would take the call for a length query
  }
  resetAttributeLen(&entry);
  const CK_RV Rv = invoke(&CK_FUNCTION_LIST::C_GetAttributeValue, hSession, hObject, &entry, CK_ULONG{1});
  if (Rv == CKR_OK) {
    // Only bytes are counted by what the module reports. A length that reads as a negative int says "unavailable"; the
    // conversion has its own answer to that.
    const AttributeKind* const kind = findKind(entry.type);
    if (kind != nullptr && kind->value == AttributeKind::Bytes && narrow(entry.ulValueLen) >= 0) {
      requireWithin(widen(narrow(entry.ulValueLen)), kReadBufferSize);
    }
    value = CkAttribute2Pkcs11Attribute(env, entry);
  }
  return Rv;
}

void freeTemplate(const Template& made) {
  for (CK_ULONG index = 0; index < made.count; ++index) {
    release(made.entries[index].pValue);
  }
  release(made.entries);
}

void freeReadTemplate(const Template& made) {
  if (made.count > 0) {
    // The shared buffer: in the first entry as a rule, in the last whenever it was obtained at all.
    release(made.entries[made.count - 1].pValue);
  }
  release(made.entries);
}
