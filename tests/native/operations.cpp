#include "operations.h"

#include <type_traits>

namespace operations {
namespace {

template <auto native, typename... Actual>
Result run(const Arguments& a, Actual... actual) {
  using Returned = decltype(native(a.env, a.session, actual...));
  if constexpr (std::is_void_v<Returned>) {
    native(a.env, a.session, actual...);
    return {nullptr, 0};
  } else if constexpr (std::is_same_v<Returned, jint>) {
    return {nullptr, native(a.env, a.session, actual...)};
  } else {
    return {native(a.env, a.session, actual...), 0};
  }
}

template <auto native>
Result init(const Arguments& a) {
  return run<native>(a, a.hSession, a.mechanism, a.hKey);
}

template <auto native>
Result recoverInit(const Arguments& a) {
  return run<native>(a, a.mechanism, a.hKey);
}

template <auto native>
Result keyed(const Arguments& a) {
  return run<native>(a, a.hSession, a.bInit, a.mechanism, a.hKey, a.input.array, a.input.offset, a.input.length);
}

template <auto native>
Result keyedInto(const Arguments& a) {
  return run<native>(a, a.hSession, a.bInit, a.mechanism, a.hKey, a.input.array, a.input.offset, a.input.length,
                     a.second.array, a.second.offset);
}

template <auto native>
Result keyless(const Arguments& a) {
  return run<native>(a, a.hSession, a.bInit, a.mechanism, a.input.array, a.input.offset, a.input.length);
}

template <auto native>
Result keylessInto(const Arguments& a) {
  return run<native>(a, a.hSession, a.bInit, a.mechanism, a.input.array, a.input.offset, a.input.length, a.second.array,
                     a.second.offset);
}

template <auto native>
Result ofObject(const Arguments& a) {
  return run<native>(a, a.input.array, a.input.offset, a.input.length);
}

template <auto native>
Result ofObjectInto(const Arguments& a) {
  return run<native>(a, a.input.array, a.input.offset, a.input.length, a.second.array, a.second.offset);
}

template <auto native>
Result final(const Arguments& a) {
  return run<native>(a);
}

template <auto native>
Result finalInto(const Arguments& a) {
  return run<native>(a, a.second.array, a.second.offset);
}

Result verify(const Arguments& a) {
  return run<Java_velnor_nat_NativeSession_J_1Verify>(a, a.hSession, a.bInit, a.mechanism, a.hKey, a.input.array,
                                                      a.input.offset, a.input.length, a.second.array, a.second.offset,
                                                      a.second.length);
}

Result digestKey(const Arguments& a) {
  return run<Java_velnor_nat_NativeSession_J_1DigestKey>(a, a.hSession, a.bInit, a.mechanism, a.hKey);
}

constexpr Worker kEncryptInit = {"J_EncryptInit", "C_EncryptInit", true};
constexpr Worker kDecryptInit = {"J_DecryptInit", "C_DecryptInit", true};
constexpr Worker kDigestInit = {"J_DigestInit", "C_DigestInit", false};
constexpr Worker kSignInit = {"J_SignInit", "C_SignInit", true};
constexpr Worker kVerifyInit = {"J_VerifyInit", "C_VerifyInit", true};

// clang-format off
const Method kMethods[] = {
    {.title = "EncryptUpdateNewArray", .name = "J_EncryptUpdate", .function = "C_EncryptUpdate",
     .call = keyed<Java_velnor_nat_NativeSession_J_1EncryptUpdate__JZLvelnor_Mechanism_2J_3BII>,
     .starts = Starts::ByInitFlag, .worker = &kEncryptInit, .input = "part", .inputMissing = "Data is NULL",
     .output = Output::NewArray, .refused = "jEnc is NULL"},
    {.title = "EncryptUpdateCallersArray", .name = "J_EncryptUpdate", .function = "C_EncryptUpdate",
     .call = keyedInto<Java_velnor_nat_NativeSession_J_1EncryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI>,
     .starts = Starts::ByInitFlag, .worker = &kEncryptInit, .input = "part", .inputMissing = "Data is NULL",
     .output = Output::CallersArray},
    {.title = "EncryptNewArray", .name = "J_Encrypt", .function = "C_Encrypt",
     .call = keyed<Java_velnor_nat_NativeSession_J_1Encrypt__JZLvelnor_Mechanism_2J_3BII>,
     .starts = Starts::ByInitFlag, .worker = &kEncryptInit, .input = "data", .inputMissing = "Data is NULL",
     .output = Output::NewArray, .refused = "jEncryptedData is NULL"},
    {.title = "EncryptCallersArray", .name = "J_Encrypt", .function = "C_Encrypt",
     .call = keyedInto<Java_velnor_nat_NativeSession_J_1Encrypt__JZLvelnor_Mechanism_2J_3BII_3BI>,
     .starts = Starts::ByInitFlag, .worker = &kEncryptInit, .input = "data", .inputMissing = "Data is NULL",
     .output = Output::CallersArray},
    {.title = "EncryptFinalNewArray", .name = "J_EncryptFinal", .function = "C_EncryptFinal",
     .call = final<Java_velnor_nat_NativeSession_J_1EncryptFinal__>, .session = Session::Object,
     .output = Output::NewArray, .refused = "jlastEncryptedPart is NULL"},
    {.title = "EncryptFinalCallersArray", .name = "J_EncryptFinal", .function = "C_EncryptFinal",
     .call = finalInto<Java_velnor_nat_NativeSession_J_1EncryptFinal___3BI>, .session = Session::Object,
     .output = Output::CallersArray},

    {.title = "DecryptInit", .name = "J_DecryptInit", .function = "C_DecryptInit",
     .call = init<Java_velnor_nat_NativeSession_J_1DecryptInit>, .starts = Starts::Always, .worker = &kDecryptInit},
    {.title = "DecryptUpdateNewArray", .name = "J_DecryptUpdate", .function = "C_DecryptUpdate",
     .call = keyed<Java_velnor_nat_NativeSession_J_1DecryptUpdate__JZLvelnor_Mechanism_2J_3BII>,
     .starts = Starts::ByInitFlag, .worker = &kDecryptInit, .input = "part", .inputMissing = "EncryptedData is NULL",
     .output = Output::NewArray, .refused = "jDecryptedData is NULL"},
    {.title = "DecryptUpdateCallersArray", .name = "J_DecryptUpdate", .function = "C_DecryptUpdate",
     .call = keyedInto<Java_velnor_nat_NativeSession_J_1DecryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI>,
     .starts = Starts::ByInitFlag, .worker = &kDecryptInit, .input = "part", .inputMissing = "EncryptedData is NULL",
     .output = Output::CallersArray},
    {.title = "DecryptNewArray", .name = "J_Decrypt", .function = "C_Decrypt",
     .call = keyed<Java_velnor_nat_NativeSession_J_1Decrypt>,
     .starts = Starts::ByInitFlag, .worker = &kDecryptInit, .input = "encryptedData",
     .inputMissing = "EncryptedData is NULL", .output = Output::NewArray, .refused = "jDecryptedData is NULL"},
    {.title = "DecryptFinalNewArray", .name = "J_DecryptFinal", .function = "C_DecryptFinal",
     .call = final<Java_velnor_nat_NativeSession_J_1DecryptFinal__>, .session = Session::Object,
     .output = Output::NewArray, .refused = "jlastDecryptedPart is NULL"},
    {.title = "DecryptFinalCallersArray", .name = "J_DecryptFinal", .function = "C_DecryptFinal",
     .call = finalInto<Java_velnor_nat_NativeSession_J_1DecryptFinal___3BI>, .session = Session::Object,
     .output = Output::CallersArray, .preset = 512},

    {.title = "DigestKey", .name = "J_DigestKey", .function = "C_DigestKey", .call = digestKey,
     .starts = Starts::ByInitFlag, .worker = &kDigestInit},
    {.title = "DigestUpdate", .name = "J_DigestUpdate", .function = "C_DigestUpdate",
     .call = keyless<Java_velnor_nat_NativeSession_J_1DigestUpdate>,
     .starts = Starts::ByInitFlag, .worker = &kDigestInit, .input = "part", .inputMissing = "pPart is NULL"},
    {.title = "DigestNewArray", .name = "J_Digest", .function = "C_Digest",
     .call = keyless<Java_velnor_nat_NativeSession_J_1Digest__JZLvelnor_Mechanism_2_3BII>,
     .starts = Starts::ByInitFlag, .worker = &kDigestInit, .input = "data",
     .output = Output::NewArray, .refused = "jDigest is NULL", .sizing = Sizing::Fixed},
    {.title = "DigestCallersArray", .name = "J_Digest", .function = "C_Digest",
     .call = keylessInto<Java_velnor_nat_NativeSession_J_1Digest__JZLvelnor_Mechanism_2_3BII_3BI>,
     .starts = Starts::ByInitFlag, .worker = &kDigestInit, .input = "data", .output = Output::CallersArray},
    {.title = "DigestFinalNewArray", .name = "J_DigestFinal", .function = "C_DigestFinal",
     .call = final<Java_velnor_nat_NativeSession_J_1DigestFinal__>, .session = Session::Object,
     .output = Output::NewArray, .refused = "jDigest is NULL"},
    {.title = "DigestFinalCallersArray", .name = "J_DigestFinal", .function = "C_DigestFinal",
     .call = finalInto<Java_velnor_nat_NativeSession_J_1DigestFinal___3BI>, .session = Session::Object,
     .output = Output::CallersArray, .afterFailure = AfterFailure::ReleasedDetached, .preset = 512},

    {.title = "SignInit", .name = "J_SignInit", .function = "C_SignInit",
     .call = init<Java_velnor_nat_NativeSession_J_1SignInit>, .starts = Starts::Always, .worker = &kSignInit},
    {.title = "SignUpdate", .name = "J_SignUpdate", .function = "C_SignUpdate",
     .call = keyed<Java_velnor_nat_NativeSession_J_1SignUpdate>,
     .starts = Starts::ByInitFlag, .worker = &kSignInit, .input = "part", .inputMissing = "Data is NULL"},
    {.title = "SignNewArray", .name = "J_Sign", .function = "C_Sign",
     .call = keyed<Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII>,
     .starts = Starts::ByInitFlag, .worker = &kSignInit, .input = "data", .inputMissing = "Data is NULL",
     .output = Output::NewArray, .refused = "jSignature is NULL", .sizing = Sizing::LengthQuery},
    {.title = "SignCallersArray", .name = "J_Sign", .function = "C_Sign",
     .call = keyedInto<Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII_3BI>,
     .starts = Starts::ByInitFlag, .worker = &kSignInit, .input = "data", .inputMissing = "Data is NULL",
     .output = Output::CallersArray},
    {.title = "SignFinalNewArray", .name = "J_SignFinal", .function = "C_SignFinal",
     .call = final<Java_velnor_nat_NativeSession_J_1SignFinal__>, .session = Session::Object,
     .output = Output::NewArray, .refused = "Sign is NULL"},
    {.title = "SignFinalCallersArray", .name = "J_SignFinal", .function = "C_SignFinal",
     .call = finalInto<Java_velnor_nat_NativeSession_J_1SignFinal___3BI>, .session = Session::Object,
     .output = Output::CallersArray},
    {.title = "SignRecoverInit", .name = "J_SignRecoverInit", .function = "C_SignRecoverInit",
     .call = recoverInit<Java_velnor_nat_NativeSession_J_1SignRecoverInit>, .session = Session::Object,
     .takesMechanismOnly = true},
    {.title = "SignRecoverNewArray", .name = "J_SignRecover", .function = "C_SignRecover",
     .call = ofObject<Java_velnor_nat_NativeSession_J_1SignRecover___3BII>, .session = Session::Object,
     .input = "data", .inputMissing = "Data is NULL", .output = Output::NewArray, .refused = "jSignature is NULL"},
    {.title = "SignRecoverCallersArray", .name = "J_SignRecover", .function = "C_SignRecover",
     .call = ofObjectInto<Java_velnor_nat_NativeSession_J_1SignRecover___3BII_3BI>, .session = Session::Object,
     .input = "data", .inputMissing = "Data is NULL", .output = Output::CallersArray,
     .afterFailure = AfterFailure::ReleasedDetached},

    {.title = "VerifyUpdate", .name = "J_VerifyUpdate", .function = "C_VerifyUpdate",
     .call = keyed<Java_velnor_nat_NativeSession_J_1VerifyUpdate>,
     .starts = Starts::ByInitFlag, .worker = &kVerifyInit, .input = "part", .inputMissing = "pPart is NULL",
     .releasesUnguarded = true},
    {.title = "Verify", .name = "J_Verify", .function = "C_Verify", .call = verify,
     .starts = Starts::ByInitFlag, .worker = &kVerifyInit, .input = "data", .inputMissing = "Data is NULL"},
    {.title = "VerifyFinal", .name = "J_VerifyFinal", .function = "C_VerifyFinal",
     .call = ofObject<Java_velnor_nat_NativeSession_J_1VerifyFinal>, .session = Session::Object,
     .input = "signature", .inputMissing = "Signature is NULL", .sample = "SIG:", .keepsInput = true},
    {.title = "VerifyRecoverInit", .name = "J_VerifyRecoverInit", .function = "C_VerifyRecoverInit",
     .call = recoverInit<Java_velnor_nat_NativeSession_J_1VerifyRecoverInit>, .session = Session::Object,
     .takesMechanismOnly = true},
    {.title = "VerifyRecoverNewArray", .name = "J_VerifyRecover", .function = "C_VerifyRecover",
     .call = ofObject<Java_velnor_nat_NativeSession_J_1VerifyRecover___3BII>, .session = Session::Object,
     .input = "signature", .inputMissing = "Sign is NULL", .output = Output::NewArray, .refused = "jData is NULL"},
    {.title = "VerifyRecoverCallersArray", .name = "J_VerifyRecover", .function = "C_VerifyRecover",
     .call = ofObjectInto<Java_velnor_nat_NativeSession_J_1VerifyRecover___3BII_3BI>, .session = Session::Object,
     .input = "signature", .inputMissing = "Signature is NULL", .output = Output::CallersArray,
     .afterFailure = AfterFailure::ReleasedDetached},

    {.title = "DecryptDigestUpdate", .name = "J_DecryptDigestUpdate", .function = "C_DecryptDigestUpdate",
     .call = ofObjectInto<Java_velnor_nat_NativeSession_J_1DecryptDigestUpdate>, .session = Session::Object,
     .input = "part", .inputMissing = "EncryptedPart is NULL", .output = Output::CallersArray,
     .afterFailure = AfterFailure::ReleasedDetached},
    {.title = "DigestEncryptUpdate", .name = "J_DigestEncryptUpdate", .function = "C_DigestEncryptUpdate",
     .call = ofObjectInto<Java_velnor_nat_NativeSession_J_1DigestEncryptUpdate>, .session = Session::Object,
     .input = "part", .inputMissing = "DataPart is NULL", .output = Output::CallersArray,
     .afterFailure = AfterFailure::ReleasedDetached},
    {.title = "SignEncryptUpdate", .name = "J_SignEncryptUpdate", .function = "C_SignEncryptUpdate",
     .call = ofObjectInto<Java_velnor_nat_NativeSession_J_1SignEncryptUpdate>, .session = Session::Object,
     .input = "part", .inputMissing = "DataPart is NULL", .output = Output::CallersArray,
     .afterFailure = AfterFailure::ReleasedDetached},
    {.title = "DecryptVerifyUpdate", .name = "J_DecryptVerifyUpdate", .function = "C_DecryptVerifyUpdate",
     .call = ofObjectInto<Java_velnor_nat_NativeSession_J_1DecryptVerifyUpdate>, .session = Session::Object,
     .input = "part", .inputMissing = "pEncryptedPart is NULL", .output = Output::CallersArray,
     .afterFailure = AfterFailure::ReleasedDetached},
};
// clang-format on

}  // namespace

const char* const kConversion = R"(
  FindClass velnor/Mechanism
  GetFieldID velnor/Mechanism mechanism I
  GetFieldID velnor/Mechanism parameter Ljava/lang/Object;
  GetObjectField mechanism parameter
  GetIntField mechanism mechanism
)";

void PrintTo(const Method& method, std::ostream* out) {
  *out << method.title;
}

std::string title(const ::testing::TestParamInfo<Method>& info) {
  return info.param.title;
}

std::vector<Method> methods() {
  return {std::begin(kMethods), std::end(kMethods)};
}

MethodTest::MethodTest() {
  arguments = {jni,
               session,
               static_cast<jlong>(hSession),
               JNI_FALSE,
               env.mechanism("mechanism", CKM_SHA_1),
               static_cast<jlong>(hSecretKey),
               {env.bytes("input", ".." + std::string(method.sample) + ".."), 2, 4},
               {env.bytes("output", "0123456789abcdefghijklmn"), 3, 21}};
}

void MethodTest::startEverything() {
  given([] {
    CK_MECHANISM mechanism = {CKM_SHA_1, nullptr, 0};
    functionList->C_EncryptInit(hSession, &mechanism, hSecretKey);
    functionList->C_DecryptInit(hSession, &mechanism, hSecretKey);
    functionList->C_DigestInit(hSession, &mechanism);
    functionList->C_SignInit(hSession, &mechanism, hPrivateKey);
    functionList->C_SignRecoverInit(hSession, &mechanism, hPrivateKey);
    functionList->C_VerifyInit(hSession, &mechanism, hPublicKey);
    functionList->C_VerifyRecoverInit(hSession, &mechanism, hPublicKey);
  });
}

std::string MethodTest::moduleCall(const std::string& roomAndAnswer) const {
  return moduleCall(method.input == nullptr ? "" : std::string(method.input) + "=\"" + method.sample + "\"",
                    roomAndAnswer);
}

std::string MethodTest::moduleCall(const std::string& input, const std::string& roomAndAnswer) const {
  return std::string(method.function) + " session=0x5E51 " + input + (input.empty() ? "" : " ") + roomAndAnswer + "\n";
}

std::string MethodTest::giveBackOutputAfterFailure() {
  if (method.afterFailure == AfterFailure::CopiedBack) {
    return "ReleaseByteArrayElements output mode 0\n";
  }
  expectOut({"output"});
  return "ReleaseByteArrayElements null mode 0\n";
}

}  // namespace operations
