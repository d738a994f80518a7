/// Initialising and finalising the bound module, and its general information.
#include "harlune.h"
#include "lookups.h"
#include "module.h"
#include "velnor_nat_NativeCryptoki.h"

namespace {

/// A new Java String of a whole fixed-width field, blanks included, decoded with the platform's default charset.
struct FixedField {
  jbyteArray array;
  const CK_UTF8CHAR* characters;
  jint length;
};

template <std::size_t N>
FixedField newFieldArray(JNIEnv* env, const CK_UTF8CHAR (&characters)[N], const char* refused) {
  return {require(env->NewByteArray(N), refused), characters, N};
}

void fill(JNIEnv* env, const FixedField& field) {
  env->SetByteArrayRegion(field.array, 0, field.length, reinterpret_cast<const jbyte*>(field.characters));
}

}  // namespace

JNIEXPORT void JNICALL Java_velnor_nat_NativeCryptoki_Initialize(JNIEnv* env, jobject, jobject /*InitializeArgs*/) {
  LogFunction("Initialize - entry", CKR_OK);
  reporting(
      env, "J_Initialize",
      [] {
        if (bInitialized) {
          raise(CKR_CRYPTOKI_ALREADY_INITIALIZED);
        }
        LogFunction("Initialize : before Token call.", CKR_OK);
        if (functionList == nullptr) {
          loadLibrary(sLibName, freeLibrary, 0);
        }
        const CK_RV Rv = invoke(&CK_FUNCTION_LIST::C_Initialize, nullptr);
        LogFunction("Initialize : after Token call.", Rv);
        requireOk(Rv);
        bInitialized = true;
      },
      [] { LogFunction("Initialize : exception.", CKR_OK); });
  LogFunction("Initialize - exit", CKR_OK);
}

JNIEXPORT void JNICALL Java_velnor_nat_NativeCryptoki_Finalize(JNIEnv* env, jobject, jobject /*oObject*/) {
  LogFunction("Finalize - entry", CKR_OK);
  frame(env, "J_Finalize", [] {
    LogFunction("Finalize : before C_Finalize call", CKR_OK);
    const CK_RV Rv = invoke(&CK_FUNCTION_LIST::C_Finalize, nullptr);
    LogFunction("Finalize : C_Finalize call passed.", Rv);
    requireOk(Rv);
    if (hLibModule != nullptr) {
      closeModule();
    }
    bInitialized = false;
  });
  // Also after a failure: callers rely on a refused Finalize leaving no function list, while the module stays open.
  functionList = nullptr;
  LogFunction("Finalize - exit", CKR_OK);
}

JNIEXPORT jobject JNICALL Java_velnor_nat_NativeCryptoki_GetInfo(JNIEnv* env, jobject) {
  jobject jInfo = nullptr;
  LogFunction("GetInfo - entry", CKR_OK);
  frame(env, "J_GetInfo", [&] {
    const jclass InfoClass = require(env->FindClass("velnor/Info"), "Class 'velnor/nat/NativeInfo' not found");
    const jclass StringClass = require(env->FindClass("java/lang/String"), "Class 'java/lang/String' not found");
    const jclass VersionClass = findVersionClass(env);
    const jmethodID newInfo =
        require(env->GetMethodID(InfoClass, "<init>",
                                 "(Lvelnor/Version;ILjava/lang/String;Lvelnor/Version;Ljava/lang/String;)V"),
                "NativeInfo constructor not found");
    const jmethodID newString =
        require(env->GetMethodID(StringClass, "<init>", "([B)V"), "String constructor not found");
    const jmethodID VersionConstructor = findVersionConstructor(env, VersionClass);

    CK_INFO info = {};
    callModule(&CK_FUNCTION_LIST::C_GetInfo, &info);

    const FixedField description = newFieldArray(env, info.libraryDescription, "libraryDescArray is NULL");
    const FixedField manufacturer = newFieldArray(env, info.manufacturerID, "manufactuIDArray is NULL");
    fill(env, description);
    fill(env, manufacturer);
    const jobject libraryDescription =
        require(env->NewObject(StringClass, newString, description.array), "libraryDescription value is NULL");
    const jobject manufacturerID =
        require(env->NewObject(StringClass, newString, manufacturer.array), "manufacturerID value is NULL");
    const jint flags = Check64BitLen(env, info.flags);
    // Java is told the version of this bridge, whatever the module says of its own.
    const jobject libraryVersion =
        newVersion(env, VersionClass, VersionConstructor, libVersion, "libraryVersion value is NULL");
    const jobject cryptokiVersion =
        newVersion(env, VersionClass, VersionConstructor, info.cryptokiVersion, "cryptokiVersion value is NULL");
    jInfo = require(
        env->NewObject(InfoClass, newInfo, cryptokiVersion, flags, libraryDescription, libraryVersion, manufacturerID),
        "NativeInfo object is NULL");
  });
  LogFunction("GetInfo - exit", CKR_OK);
  return jInfo;
}
