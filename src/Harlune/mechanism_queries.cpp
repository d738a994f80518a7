/// Which mechanisms a token supports, and what one of them can do.
#include "harlune.h"
#include "lookups.h"
#include "memory.h"
#include "velnor_nat_NativeSlot.h"

JNIEXPORT jintArray JNICALL Java_velnor_nat_NativeSlot_J_1GetMechanismList(JNIEnv* env, jobject jSlot) {
  CK_MECHANISM_TYPE_PTR pMechanismList = nullptr;
  jintArray jMechanismList = nullptr;
  LogFunction("J_GetMechanismList - entry", CKR_OK);
  frame(env, "J_GetMechanismList", [&] {
    const CK_SLOT_ID SlotId = getSlotID(env, jSlot);
    CK_ULONG mechanismCount = 0;
    callModule(&CK_FUNCTION_LIST::C_GetMechanismList, SlotId, nullptr, &mechanismCount);
    const CK_ULONG capacity = mechanismCount;
    pMechanismList = allocate<CK_MECHANISM_TYPE>(capacity);
    callModule(&CK_FUNCTION_LIST::C_GetMechanismList, SlotId, pMechanismList, &mechanismCount);
    const jint length = Check64BitLen(env, mechanismCount);
    const jintArray array = require(env->NewIntArray(length), "jMechanismList is NULL");
    requireWithin(widen(length), capacity);
    // The 64-bit codes are copied as pairs of ints, as many ints as there are codes: what every caller decodes.
    env->SetIntArrayRegion(array, 0, length, reinterpret_cast<const jint*>(pMechanismList));
    jMechanismList = array;
  });
  release(pMechanismList);
  LogFunction("J_GetMechanismList - exit", CKR_OK);
  return jMechanismList;
}

JNIEXPORT jobject JNICALL Java_velnor_nat_NativeSlot_J_1GetMechanismInfo(JNIEnv* env, jobject jSlot,
                                                                         jint jMechanismType) {
  jobject jMechanismInfo = nullptr;
  LogFunction("J_GetMechanismInfo - entry", CKR_OK);
  frame(env, "J_GetMechanismInfo", [&] {
    const jclass NativeSlotClass = findSlotClass(env);
    const jclass MechanismInfoClass =
        require(env->FindClass("velnor/MechanismInfo"), "Class 'velnor/MechanismInfo' not found");
    const jfieldID slotID = findSlotID(env, NativeSlotClass, "Field m_slotID not found");
    const jmethodID constructor =
        require(env->GetMethodID(MechanismInfoClass, "<init>", "(III)V"), "Pkcs11MechanismInfo constructor not found");
    const CK_SLOT_ID SlotId = getSlotID(env, jSlot, slotID);
    CK_MECHANISM_INFO info = {};
    callModule(&CK_FUNCTION_LIST::C_GetMechanismInfo, SlotId, widen(jMechanismType), &info);
    const jint ulMaxKeySize = Check64BitLen(env, info.ulMaxKeySize);
    const jint ulMinKeySize = Check64BitLen(env, info.ulMinKeySize);
    const jint flags = Check64BitLen(env, info.flags);
    jMechanismInfo = require(env->NewObject(MechanismInfoClass, constructor, ulMinKeySize, ulMaxKeySize, flags),
                             "Pkcs11MechanismInfo object is NULL");
  });
  LogFunction("J_GetMechanismInfo - exit", CKR_OK);
  return jMechanismInfo;
}
