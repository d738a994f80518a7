/// Every native method before the library is initialised: 400 under its own report name, and nothing else happens.
#include "native_test.h"

#include <cstdint>
#include <functional>
#include <type_traits>

namespace {

/// Arguments that are harmless and plausible: real arrays, else null and zero.
class Arguments {
public:
  explicit Arguments(jvm::RecordingEnv& env) : env_(env) {}

  template <typename T>
  T make() {
    if constexpr (std::is_same_v<T, jbyteArray>) {
      return env_.bytes("argument", "0123456789");
    } else {
      return T{};
    }
  }

private:
  jvm::RecordingEnv& env_;
};

struct Method {
  const char* name;
  /// The name that it reports under.
  const char* reportName;
  /// Calls it and answers what it returned: a number, 0 for null and for nothing, 1 for an object.
  std::function<std::int64_t(jvm::RecordingEnv&, jobject)> call;
};

void PrintTo(const Method& method, std::ostream* out) {
  *out << method.name;
}

template <typename Result, typename... Parameters>
Method method(const char* name, const char* reportName, Result (*native)(JNIEnv*, jobject, Parameters...)) {
  return {name, reportName, [native](jvm::RecordingEnv& env, jobject receiver) {
            Arguments arguments(env);
            if constexpr (std::is_void_v<Result>) {
              native(env.jni(), receiver, arguments.make<Parameters>()...);
              return std::int64_t{0};
            } else if constexpr (std::is_pointer_v<Result>) {
              return std::int64_t{native(env.jni(), receiver, arguments.make<Parameters>()...) == nullptr ? 0 : 1};
            } else {
              return std::int64_t{native(env.jni(), receiver, arguments.make<Parameters>()...)};
            }
          }};
}

#define CRYPTOKI(function, reportName) method(#function, reportName, Java_velnor_nat_NativeCryptoki_##function)
#define SLOT(function, reportName) method(#function, reportName, Java_velnor_nat_NativeSlot_J_1##function)
#define SESSION(function, reportName) method(#function, reportName, Java_velnor_nat_NativeSession_J_1##function)

const Method kMethods[] = {
    CRYPTOKI(Finalize, "J_Finalize"),
    CRYPTOKI(GetInfo, "J_GetInfo"),
    CRYPTOKI(GetSlotList, "J_GetSlotList"),
    CRYPTOKI(WaitForSlotEvent, "J_WaitForSlotEvent"),
    SLOT(GetSlotInfo, "J_GetSlotInfo"),
    SLOT(GetTokenInfo, "J_GetTokenInfo"),
    SLOT(GetMechanismList, "J_GetMechanismList"),
    SLOT(GetMechanismInfo, "J_GetMechanismInfo"),
    SLOT(OpenSession__I, "J_OpenSession"),
    SLOT(OpenSession__IBLjava_lang_String_2, "J_OpenSession"),
    SLOT(CloseAllSessions, "J_CloseAllSessions"),
    SLOT(InitToken, "J_InitToken"),
    SESSION(Login, "J_Login"),
    SESSION(Logout, "J_Logout"),
    SESSION(CloseSession, "J_CloseSession"),
    SESSION(GetSessionInfo, "J_GetSessionInfo"),
    SESSION(InitPIN, "J_InitPIN"),
    SESSION(SetPIN, "J_SetPIN"),
    SESSION(GetOperationState, "J_GetOperationState"),
    SESSION(SetOperationState, "J_SetOperationState"),
    SESSION(GetFunctionStatus, "J_GetFunctionStatus"),
    SESSION(CancelFunction, "J_CancelFunction"),
    SESSION(GenerateRandom, "J_GenerateRandom"),
    SESSION(CreateObject, "J_CreateObject"),
    SESSION(CopyObject, "J_CopyObject"),
    SESSION(DestroyObject, "J_DestroyObject"),
    SESSION(GetObjectSize, "J_GetObjectSize"),
    SESSION(GetAttributeValue__JI, "J_GetAttributeValue"),
    SESSION(GetAttributeValue__J_3I, "J_GetAttributeValue"),
    SESSION(SetAttributeValue, "J_SetAttributeValue"),
    SESSION(FindObjects___3Lvelnor_Attribute_2, "J_FindObjects"),
    SESSION(FindObjects___3Lvelnor_Attribute_2_3I, "J_FindObjects"),
    SESSION(EncryptUpdate__JZLvelnor_Mechanism_2J_3BII, "J_EncryptUpdate"),
    SESSION(EncryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI, "J_EncryptUpdate"),
    SESSION(Encrypt__JZLvelnor_Mechanism_2J_3BII, "J_Encrypt"),
    SESSION(Encrypt__JZLvelnor_Mechanism_2J_3BII_3BI, "J_Encrypt"),
    SESSION(EncryptFinal__, "J_EncryptFinal"),
    SESSION(EncryptFinal___3BI, "J_EncryptFinal"),
    SESSION(DecryptInit, "J_DecryptInit"),
    SESSION(DecryptUpdate__JZLvelnor_Mechanism_2J_3BII, "J_DecryptUpdate"),
    SESSION(DecryptUpdate__JZLvelnor_Mechanism_2J_3BII_3BI, "J_DecryptUpdate"),
    SESSION(Decrypt, "J_Decrypt"),
    SESSION(DecryptFinal__, "J_DecryptFinal"),
    SESSION(DecryptFinal___3BI, "J_DecryptFinal"),
    SESSION(DigestKey, "J_DigestKey"),
    SESSION(DigestUpdate, "J_DigestUpdate"),
    SESSION(Digest__JZLvelnor_Mechanism_2_3BII, "J_Digest"),
    SESSION(Digest__JZLvelnor_Mechanism_2_3BII_3BI, "J_Digest"),
    SESSION(DigestFinal__, "J_DigestFinal"),
    SESSION(DigestFinal___3BI, "J_DigestFinal"),
    SESSION(SignInit, "J_SignInit"),
    SESSION(SignUpdate, "J_SignUpdate"),
    SESSION(Sign__JZLvelnor_Mechanism_2J_3BII, "J_Sign"),
    SESSION(Sign__JZLvelnor_Mechanism_2J_3BII_3BI, "J_Sign"),
    SESSION(SignFinal__, "J_SignFinal"),
    SESSION(SignFinal___3BI, "J_SignFinal"),
    SESSION(SignRecoverInit, "J_SignRecoverInit"),
    SESSION(SignRecover___3BII, "J_SignRecover"),
    SESSION(SignRecover___3BII_3BI, "J_SignRecover"),
    SESSION(VerifyUpdate, "J_VerifyUpdate"),
    SESSION(Verify, "J_Verify"),
    SESSION(VerifyFinal, "J_VerifyFinal"),
    SESSION(VerifyRecoverInit, "J_VerifyRecoverInit"),
    SESSION(VerifyRecover___3BII, "J_VerifyRecover"),
    SESSION(VerifyRecover___3BII_3BI, "J_VerifyRecover"),
    SESSION(DecryptDigestUpdate, "J_DecryptDigestUpdate"),
    SESSION(DigestEncryptUpdate, "J_DigestEncryptUpdate"),
    SESSION(SignEncryptUpdate, "J_SignEncryptUpdate"),
    SESSION(DecryptVerifyUpdate, "J_DecryptVerifyUpdate"),
    SESSION(GenerateKey, "J_GenerateKey"),
    SESSION(GenerateKeyPair, "J_GenerateKeyPair"),
    SESSION(WrapKey, "J_WrapKey"),
    SESSION(UnwrapKey, "J_UnwrapKey"),
    SESSION(DeriveKey, "J_DeriveKey"),
};

/// Of the 80 native methods, six make no such test: the three loaders, the two enquiries, and Initialize, which reports
/// the opposite.
constexpr std::size_t kWithoutTheTest = 6;
static_assert(std::size(kMethods) + kWithoutTheTest == 80);

/// Two methods preset their result before they look at anything, and callers see it beside the exception.
std::int64_t answerOf(const std::string& name) {
  return name == "DecryptFinal___3BI" || name == "DigestFinal___3BI" ? 512 : 0;
}

class NotInitialisedTest : public UnboundTest, public ::testing::WithParamInterface<Method> {
protected:
  void expectRefusal() {
    EXPECT_EQ(GetParam().call(env, env.object("receiver", "java/lang/Object")), answerOf(GetParam().name));
    std::string expected = "report \"" + std::string(GetParam().reportName) + "\" 0x190\n";
    if (GetParam().name == std::string("VerifyUpdate")) {
      // Gives back elements that it never borrowed; JVMs take the null for an array that exists.
      expected += "ReleaseByteArrayElements argument elements=null mode 2\n";
    }
    EXPECT_EQ(expected, takeTrace());
    EXPECT_EQ(module.journal(), "");
    const auto report = env.pendingReport();
    ASSERT_TRUE(report.has_value());
    EXPECT_EQ(report->code, 400);
    EXPECT_EQ(report->message, "CRYPTOKI NOT INITIALIZED          ");
  }
};

TEST_P(NotInitialisedTest, WithoutAModule) {
  expectRefusal();
}

TEST_P(NotInitialisedTest, WithAModuleThatIsOnlyLoaded) {
  load(module.path());
  module.clearJournal();
  expectRefusal();
}

INSTANTIATE_TEST_SUITE_P(Methods, NotInitialisedTest, ::testing::ValuesIn(kMethods),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
