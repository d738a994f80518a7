/// Slot lists, slot events, and the information of slots and tokens.
#include "harlune.h"
#include "lookups.h"
#include "memory.h"
#include "velnor_nat_NativeCryptoki.h"
#include "velnor_nat_NativeSlot.h"

#include <cstring>

namespace {

struct SlotClass {
  jclass NativeSlotClass;
  jmethodID constructor;
};

SlotClass findSlotConstructor(JNIEnv* env) {
  const jclass NativeSlotClass = findSlotClass(env);
  return {NativeSlotClass,
          require(env->GetMethodID(NativeSlotClass, "<init>", "(I)V"), "NativeSlot constructor not found")};
}

jobject newSlot(JNIEnv* env, const SlotClass& slotClass, CK_SLOT_ID SlotId, const char* refused) {
  return require(env->NewObject(slotClass.NativeSlotClass, slotClass.constructor, narrow(SlotId)), refused);
}

/// A new Java string of a whole fixed-width field, blanks included, read as modified UTF-8.
template <std::size_t N>
jstring newFixedString(JNIEnv* env, const CK_UTF8CHAR (&field)[N], const char* refused) {
  char terminated[N + 1] = {};
  std::memcpy(terminated, field, N);
  return require(env->NewStringUTF(terminated), refused);
}

/// What the two information methods look up before they ask the module.
struct InfoLookups {
  CK_SLOT_ID SlotId;
  jclass InfoClass;
  jmethodID constructor;
  jclass VersionClass;
  jmethodID VersionConstructor;
};

/// The names and texts in which the two information methods differ.
struct InfoContract {
  const char* path;
  const char* constructorSignature;
  const char* classMissing;
  const char* constructorMissing;
};

InfoLookups lookUpInfo(JNIEnv* env, jobject jSlot, const InfoContract& contract) {
  const jclass NativeSlotClass = findSlotClass(env);
  const jclass InfoClass = require(env->FindClass(contract.path), contract.classMissing);
  const jclass VersionClass = findVersionClass(env);
  const jfieldID slotID = findSlotID(env, NativeSlotClass, "m_slotID field not found");
  const jmethodID constructor =
      require(env->GetMethodID(InfoClass, "<init>", contract.constructorSignature), contract.constructorMissing);
  const jmethodID VersionConstructor = findVersionConstructor(env, VersionClass);
  return {getSlotID(env, jSlot, slotID), InfoClass, constructor, VersionClass, VersionConstructor};
}

template <typename Info>
jobject newHardwareVersion(JNIEnv* env, const InfoLookups& java, const Info& info) {
  return newVersion(env, java.VersionClass, java.VersionConstructor, info.hardwareVersion,
                    "HardwareVersion object is NULL");
}

template <typename Info>
jobject newFirmwareVersion(JNIEnv* env, const InfoLookups& java, const Info& info) {
  return newVersion(env, java.VersionClass, java.VersionConstructor, info.firmwareVersion,
                    "FirmwareVersion object is NULL");
}

}  // namespace

JNIEXPORT jobjectArray JNICALL Java_velnor_nat_NativeCryptoki_GetSlotList(JNIEnv* env, jobject, jboolean Tokenflag) {
  CK_SLOT_ID_PTR pSlotList = nullptr;
  jobjectArray jSlotList = nullptr;
  LogFunction("GetSlotList - entry", CKR_OK);
  frame(env, "J_GetSlotList", [&] {
    const CK_BBOOL flag = Tokenflag != JNI_FALSE ? CK_TRUE : CK_FALSE;
    const SlotClass slotClass = findSlotConstructor(env);
    CK_ULONG nSlotCount = 0;
    callModule(&CK_FUNCTION_LIST::C_GetSlotList, flag, nullptr, &nSlotCount);
    const CK_ULONG capacity = nSlotCount;
    pSlotList = allocate<CK_SLOT_ID>(capacity);
    callModule(&CK_FUNCTION_LIST::C_GetSlotList, flag, pSlotList, &nSlotCount);
    const jint SlotListLen = Check64BitLen(env, nSlotCount);
    const jobjectArray SlotList =
        require(env->NewObjectArray(SlotListLen, slotClass.NativeSlotClass, nullptr), "SlotLis is NULL");
    requireWithin(widen(SlotListLen), capacity);
    for (jint index = 0; index < SlotListLen; ++index) {
      env->SetObjectArrayElement(SlotList, index, newSlot(env, slotClass, pSlotList[index], "Slot object is NULL"));
    }
    jSlotList = SlotList;
  });
  release(pSlotList);
  LogFunction("GetSlotList - exit", CKR_OK);
  return jSlotList;
}

JNIEXPORT jobject JNICALL Java_velnor_nat_NativeCryptoki_WaitForSlotEvent(JNIEnv* env, jobject, jint jFlags,
                                                                          jobject /*jReserved*/) {
  jobject jSlot = nullptr;
  LogFunction("WaitForSlotEvent - entry", CKR_OK);
  frame(env, "J_WaitForSlotEvent", [&] {
    CK_SLOT_ID SlotId = 0;
    callModule(&CK_FUNCTION_LIST::C_WaitForSlotEvent, widen(jFlags), &SlotId, nullptr);
    jSlot = newSlot(env, findSlotConstructor(env), SlotId, "NativeSlot object is NULL");
  });
  LogFunction("WaitForSlotEvent - exit", CKR_OK);
  return jSlot;
}

JNIEXPORT jobject JNICALL Java_velnor_nat_NativeSlot_J_1GetSlotInfo(JNIEnv* env, jobject jNativeSlot) {
  jobject jSlotInfo = nullptr;
  LogFunction("J_GetSlotInfo - entry", CKR_OK);
  frame(env, "J_GetSlotInfo", [&] {
    const InfoLookups java =
        lookUpInfo(env, jNativeSlot,
                   {"velnor/SlotInfo", "(Ljava/lang/String;Ljava/lang/String;ILvelnor/Version;Lvelnor/Version;)V",
                    "Class 'velnor/SlotInfo' not found", "SlotInfo constructor not found"});
    CK_SLOT_INFO pSlotInfo = {};
    callModule(&CK_FUNCTION_LIST::C_GetSlotInfo, java.SlotId, &pSlotInfo);
    const jstring jslotDescription = newFixedString(env, pSlotInfo.slotDescription, "jslotDescription object is NULL");
    const jstring jmanufacturerID = newFixedString(env, pSlotInfo.manufacturerID, "jmanufacturerID object is NULL");
    const jobject HardwareVersion = newHardwareVersion(env, java, pSlotInfo);
    const jobject FirmwareVersion = newFirmwareVersion(env, java, pSlotInfo);
    const jint jflags = Check64BitLen(env, pSlotInfo.flags);
    jSlotInfo = require(env->NewObject(java.InfoClass, java.constructor, jslotDescription, jmanufacturerID, jflags,
                                       HardwareVersion, FirmwareVersion),
                        "SlotInfo object is NULL");
  });
  LogFunction("J_GetSlotInfo - exit", CKR_OK);
  return jSlotInfo;
}

JNIEXPORT jobject JNICALL Java_velnor_nat_NativeSlot_J_1GetTokenInfo(JNIEnv* env, jobject jNativeSlot) {
  jobject jTokenInfo = nullptr;
  LogFunction("J_GetTokenInfo - entry", CKR_OK);
  frame(env, "J_GetTokenInfo", [&] {
    const InfoLookups java =
        lookUpInfo(env, jNativeSlot,
                   {"velnor/TokenInfo",
                    "(Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;Ljava/lang/String;IIIIIIIIII"
                    "Lvelnor/Version;Lvelnor/Version;Ljava/lang/String;)V",
                    "Class 'velnor/TokenInfo' not found", "TokenInfo constructor not found"});
    CK_TOKEN_INFO pTokenInfo = {};
    callModule(&CK_FUNCTION_LIST::C_GetTokenInfo, java.SlotId, &pTokenInfo);
    const jint jflags = Check64BitLen(env, pTokenInfo.flags);
    const jint jMaxSessionCount = Check64BitLen(env, pTokenInfo.ulMaxSessionCount);
    Check64BitLen(env,
                  pTokenInfo.ulSessionCount);  // TokenInfo has no place for it, but callers hear of one out of range
    const jint jMaxRwSessionCount = Check64BitLen(env, pTokenInfo.ulMaxRwSessionCount);
    const jint jRwSessionCount = Check64BitLen(env, pTokenInfo.ulRwSessionCount);
    const jint jMaxPinLen = Check64BitLen(env, pTokenInfo.ulMaxPinLen);
    const jint jMinPinLen = Check64BitLen(env, pTokenInfo.ulMinPinLen);
    const jint jTotalPublicMemory = Check64BitLen(env, pTokenInfo.ulTotalPublicMemory);
    const jint jFreePublicMemory = Check64BitLen(env, pTokenInfo.ulFreePublicMemory);
    const jint jTotalPrivateMemory = Check64BitLen(env, pTokenInfo.ulTotalPrivateMemory);
    const jint jFreePrivateMemory = Check64BitLen(env, pTokenInfo.ulFreePrivateMemory);
    const jstring jlabel = newFixedString(env, pTokenInfo.label, "jlabel object is NULL");
    const jstring jmanufacturerID = newFixedString(env, pTokenInfo.manufacturerID, "jmanufacturerID object is NULL");
    const jstring jmodel = newFixedString(env, pTokenInfo.model, "jmodel object is NULL");
    const jstring jserialnumber = newFixedString(env, pTokenInfo.serialNumber, "jserialnumber object is NULL");
    const jstring jutctime = newFixedString(env, pTokenInfo.utcTime, "jutctime object is NULL");
    const jobject HardwareVersion = newHardwareVersion(env, java, pTokenInfo);
    const jobject FirmwareVersion = newFirmwareVersion(env, java, pTokenInfo);
    jTokenInfo =
        require(env->NewObject(java.InfoClass, java.constructor, jlabel, jmanufacturerID, jmodel, jserialnumber, jflags,
                               jMaxSessionCount, jMaxRwSessionCount, jRwSessionCount, jMaxPinLen, jMinPinLen,
                               jTotalPublicMemory, jFreePublicMemory, jTotalPrivateMemory, jFreePrivateMemory,
                               HardwareVersion, FirmwareVersion, jutctime),
                "Pkcs11TokenInfo object is NULL");
  });
  LogFunction("J_GetTokenInfo - exit", CKR_OK);
  return jTokenInfo;
}
