/// Finding the objects that match a template. The whole search runs inside one call, so none stays open between calls.
#include "harlune.h"
#include "lookups.h"
#include "memory.h"
#include "templates.h"
#include "velnor_nat_NativeSession.h"

#include <cstring>
#include <iterator>

namespace {

/// How many handles the module is asked for at a time.
constexpr CK_ULONG MaxObjectCount = 50;

/// The handles found so far, on the method's stack until there are too many.
struct Matches {
  CK_OBJECT_HANDLE onStack[1000];
  CK_OBJECT_HANDLE_PTR onHeap;
  CK_OBJECT_HANDLE_PTR phObject;  ///< whichever of the two is in use
  CK_ULONG capacity;
  CK_ULONG ObjectCount;
};

void makeRoom(Matches& matches) {
  if (matches.phObject == nullptr) {
    matches.phObject = matches.onStack;
    matches.capacity = std::size(matches.onStack);
  }
  if (matches.capacity - matches.ObjectCount >= MaxObjectCount) {
    return;
  }
  const auto grown = allocate<CK_OBJECT_HANDLE>(2 * matches.capacity);
  std::memcpy(grown, matches.phObject, matches.ObjectCount * sizeof(CK_OBJECT_HANDLE));
  release(matches.onHeap);
  matches.onHeap = grown;
  matches.phObject = grown;
  matches.capacity *= 2;
}

/// A failure between the two ends leaves the search active in the session, as the module's own answer tells the caller.
void findAll(CK_SESSION_HANDLE hSession, const Template& FindTemplate, Matches& matches) {
  callModule(&CK_FUNCTION_LIST::C_FindObjectsInit, hSession, FindTemplate.entries, FindTemplate.count);
  CK_ULONG FindObjectCount = 0;
  do {
    makeRoom(matches);
    FindObjectCount = 0;
    callModule(&CK_FUNCTION_LIST::C_FindObjects, hSession, matches.phObject + matches.ObjectCount, MaxObjectCount,
               &FindObjectCount);
    requireWithin(FindObjectCount, MaxObjectCount);
    matches.ObjectCount += FindObjectCount;
  } while (FindObjectCount == MaxObjectCount);
  callModule(&CK_FUNCTION_LIST::C_FindObjectsFinal, hSession);
}

jlongArray newHandleArray(JNIEnv* env, const Matches& matches) {
  const jlongArray jhObject = require(env->NewLongArray(Check64BitLen(env, matches.ObjectCount)), "jhObject is NULL");
  jlong* const hObject = require(env->GetLongArrayElements(jhObject, nullptr), "hObject is NULL");
  std::memcpy(hObject, matches.phObject, matches.ObjectCount * sizeof(CK_OBJECT_HANDLE));
  env->ReleaseLongArrayElements(jhObject, hObject, 0);
  return jhObject;
}

/// The attributes of one object, or null when none are asked for. An attribute that cannot be read is null, whatever
/// the reason. `lastAttribute` is the attribute built last.
jobjectArray newAttributes(JNIEnv* env, CK_SESSION_HANDLE hSession, CK_OBJECT_HANDLE hObject,
                           const AttributeClass& attributeClass, const Template& GetTemplate, jobject& lastAttribute) {
  if (GetTemplate.count == 0) {
    return nullptr;
  }
  const jobjectArray jTemplate = require(
      env->NewObjectArray(Check64BitLen(env, GetTemplate.count), attributeClass.path, nullptr), "jTemplate is NULL");
  for (CK_ULONG j = 0; j < GetTemplate.count; ++j) {
    jobject value = nullptr;
    readAttribute(env, hSession, hObject, GetTemplate.entries[j], value);
    lastAttribute = newAttribute(env, attributeClass, GetTemplate.entries[j], value, "Pkcs11Attribute object is NULL");
    env->SetObjectArrayElement(jTemplate, Check64BitLen(env, j), lastAttribute);
  }
  return jTemplate;
}

}  // namespace

JNIEXPORT jlongArray JNICALL Java_velnor_nat_NativeSession_J_1FindObjects___3Lvelnor_Attribute_2(
    JNIEnv* env, jobject jSession, jobjectArray jTemplate) {
  Template FindTemplate = {};
  Matches matches = {};
  jlongArray jHandles = nullptr;
  LogFunction("J_FindObjects - entry", CKR_OK);
  frame(env, "J_FindObjects", [&] {
    Attribute2CKAttribute(env, jTemplate, FindTemplate);
    findAll(getSessionHandle(env, jSession), FindTemplate, matches);
    if (matches.ObjectCount != 0) {
      jHandles = newHandleArray(env, matches);
    }
  });
  freeTemplate(FindTemplate);
  release(matches.onHeap);
  LogFunction("J_FindObjects - exit", CKR_OK);
  return jHandles;
}

JNIEXPORT jobjectArray JNICALL Java_velnor_nat_NativeSession_J_1FindObjects___3Lvelnor_Attribute_2_3I(
    JNIEnv* env, jobject jSession, jobjectArray jTemplate, jintArray attributes) {
  Template FindTemplate = {};
  Template GetTemplate = {};
  Matches matches = {};
  jobjectArray jObjects = nullptr;
  LogFunction("J_FindObjects - entry", CKR_OK);
  frame(env, "J_FindObjects", [&] {
    Attribute2CKAttribute(env, jTemplate, FindTemplate);
    const jclass CryptokiObjectClass =
        require(env->FindClass("velnor/CryptokiObject"), "Class 'velnor/CryptokiObject' not found");
    const jmethodID newCryptokiObject =
        require(env->GetMethodID(CryptokiObjectClass, "<init>", "(I[Lvelnor/Attribute;)V"),
                "CryptokiObject constructor' not found");
    const AttributeClass attributeClass = findAttributeClass(env, "Attribute constructor' not found");
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    findAll(hSession, FindTemplate, matches);
    if (matches.ObjectCount == 0) {
      return;
    }
    const jobjectArray jObject = require(
        env->NewObjectArray(Check64BitLen(env, matches.ObjectCount), CryptokiObjectClass, nullptr), "jObject is NULL");
    Attribute2CKAttribute_Get(env, attributes, GetTemplate);
    jobject lastAttribute = attributes;
    for (CK_ULONG i = 0; i < matches.ObjectCount; ++i) {
      const jobjectArray jAttributes =
          newAttributes(env, hSession, matches.phObject[i], attributeClass, GetTemplate, lastAttribute);
      const jobject jCryptokiObject =
          env->NewObject(CryptokiObjectClass, newCryptokiObject, narrow(matches.phObject[i]), jAttributes);
      // The attribute is tested and not the object: callers get a null element for an object that could not be made.
      require(lastAttribute, "Cryptokiobj object is NULL");
      env->SetObjectArrayElement(jObject, Check64BitLen(env, i), jCryptokiObject);
    }
    jObjects = jObject;
  });
  freeTemplate(FindTemplate);
  freeReadTemplate(GetTemplate);
  release(matches.onHeap);
  LogFunction("J_FindObjects - exit", CKR_OK);
  return jObjects;
}
