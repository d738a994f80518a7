#include "operations.h"

#include <utility>

namespace operations {
namespace {

const std::pair<const char*, Texts> kMethods[] = {
    {"EncryptUpdate__JZLvelnor_Mechanism_2J_3BII",
     {.input = "part", .inputMissing = "Data is NULL", .refused = "jEnc is NULL"}},
    {"EncryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI", {.input = "part", .inputMissing = "Data is NULL"}},
    {"Encrypt__JZLvelnor_Mechanism_2J_3BII",
     {.input = "data", .inputMissing = "Data is NULL", .refused = "jEncryptedData is NULL"}},
    {"Encrypt__JZLvelnor_Mechanism_2J_3BII_3BI", {.input = "data", .inputMissing = "Data is NULL"}},
    {"EncryptFinal__", {.refused = "jlastEncryptedPart is NULL"}},
    {"EncryptFinal___3BI", {}},

    {"DecryptInit", {}},
    {"DecryptUpdate__JZLvelnor_Mechanism_2J_3BII",
     {.input = "part", .inputMissing = "EncryptedData is NULL", .refused = "jDecryptedData is NULL"}},
    {"DecryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI", {.input = "part", .inputMissing = "EncryptedData is NULL"}},
    {"Decrypt",
     {.input = "encryptedData", .inputMissing = "EncryptedData is NULL", .refused = "jDecryptedData is NULL"}},
    {"DecryptFinal__", {.refused = "jlastDecryptedPart is NULL"}},
    {"DecryptFinal___3BI", {}},

    {"DigestKey", {}},
    {"DigestUpdate", {.input = "part", .inputMissing = "pPart is NULL"}},
    {"Digest__JZLvelnor_Mechanism_2_3BII", {.input = "data", .refused = "jDigest is NULL", .sizing = Sizing::Fixed}},
    {"Digest__JZLvelnor_Mechanism_2_3BII_3BI", {.input = "data"}},
    {"DigestFinal__", {.refused = "jDigest is NULL"}},
    {"DigestFinal___3BI", {}},

    {"SignInit", {}},
    {"SignUpdate", {.input = "part", .inputMissing = "Data is NULL"}},
    {"Sign__JZLvelnor_Mechanism_2J_3BII",
     {.input = "data", .inputMissing = "Data is NULL", .refused = "jSignature is NULL", .sizing = Sizing::LengthQuery}},
    {"Sign__JZLvelnor_Mechanism_2J_3BII_3BI", {.input = "data", .inputMissing = "Data is NULL"}},
    {"SignFinal__", {.refused = "Sign is NULL"}},
    {"SignFinal___3BI", {}},
    {"SignRecoverInit", {}},
    {"SignRecover___3BII", {.input = "data", .inputMissing = "Data is NULL", .refused = "jSignature is NULL"}},
    {"SignRecover___3BII_3BI", {.input = "data", .inputMissing = "Data is NULL"}},

    {"VerifyUpdate", {.input = "part", .inputMissing = "pPart is NULL"}},
    {"Verify", {.input = "data", .inputMissing = "Data is NULL"}},
    {"VerifyFinal", {.input = "signature", .inputMissing = "Signature is NULL", .sample = "SIG:"}},
    {"VerifyRecoverInit", {}},
    {"VerifyRecover___3BII", {.input = "signature", .inputMissing = "Sign is NULL", .refused = "jData is NULL"}},
    {"VerifyRecover___3BII_3BI", {.input = "signature", .inputMissing = "Signature is NULL"}},

    {"DecryptDigestUpdate", {.input = "part", .inputMissing = "EncryptedPart is NULL"}},
    {"DigestEncryptUpdate", {.input = "part", .inputMissing = "DataPart is NULL"}},
    {"SignEncryptUpdate", {.input = "part", .inputMissing = "DataPart is NULL"}},
    {"DecryptVerifyUpdate", {.input = "part", .inputMissing = "pEncryptedPart is NULL"}},
};

constexpr char kMethodsOfASession[] = "Java_velnor_nat_NativeSession_J_1";

Output outputOf(const registry::Method& row) {
  return row.signature.result == registry::Kind::ByteArray ? Output::NewArray
         : row.fillsCallersArray()                         ? Output::CallersArray
                                                           : Output::None;
}

Starts startOf(const registry::Method& row) {
  return row.startsByFlag()                           ? Starts::ByInitFlag
         : registry::hasWorker(row.functions.front()) ? Starts::Always
                                                      : Starts::Nothing;
}

std::optional<Worker> workerOf(const registry::Method& row) {
  const std::string& function = row.functions.front();
  if (!registry::hasWorker(function)) {
    return std::nullopt;
  }
  return Worker{"J_" + function.substr(2), function, function != "C_DigestInit"};
}

std::string titleOf(const registry::Method& row) {
  const Output output = outputOf(row);
  return row.javaName().substr(2) + (output == Output::NewArray       ? "NewArray"
                                     : output == Output::CallersArray ? "CallersArray"
                                                                      : "");
}

}  // namespace

Method::Method(const std::string& symbol, const Texts& texts)
    : Texts(texts), row(registry::methodOf(kMethodsOfASession + symbol)), name(row.reportName),
      function(row.functions.back()),
      session(row.handle == registry::Handle::SessionObject ? Session::Object : Session::Argument),
      starts(startOf(row)), worker(workerOf(row)), output(outputOf(row)),
      afterFailure(row.detachesOutput ? AfterFailure::ReleasedDetached : AfterFailure::CopiedBack),
      takesMechanismOnly(!worker && row.takes(registry::Kind::Object)), title(titleOf(row)) {}

Result Method::call(const Arguments& arguments) const {
  using registry::Kind;
  std::vector<jvalue> values;
  const Region* region = nullptr;
  bool readsLength = false;
  for (const Kind kind : row.signature.parameters) {
    jvalue value = {.j = 0};
    switch (kind) {
    case Kind::Long:
      value.j = values.empty() && session == Session::Argument ? arguments.hSession : arguments.hKey;
      break;
    case Kind::Boolean:
      value.z = arguments.bInit;
      break;
    case Kind::Object:
      value.l = arguments.mechanism;
      break;
    case Kind::ByteArray:
      region = region == nullptr && input != nullptr ? &arguments.input : &arguments.second;
      readsLength = false;
      value.l = region->array;
      break;
    default:
      value.i = readsLength ? region->length : region->offset;
      readsLength = true;
      break;
    }
    values.push_back(value);
  }
  const jvalue result = row.signature.call(arguments.env, arguments.session, values);
  return {output == Output::NewArray ? static_cast<jbyteArray>(result.l) : nullptr,
          output == Output::CallersArray ? result.i : 0};
}

void PrintTo(const Method& method, std::ostream* out) {
  *out << method.title;
}

std::string title(const ::testing::TestParamInfo<Method>& info) {
  return info.param.title;
}

std::vector<Method> methods() {
  std::vector<Method> all;
  for (const auto& [symbol, texts] : kMethods) {
    all.emplace_back(symbol, texts);
  }
  return all;
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
