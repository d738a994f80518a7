#include "native_test.h"

#include <cstring>
#include <dlfcn.h>
#include <gtest/gtest-spi.h>
#include <thread>

namespace {

class ScriptedModuleTest : public NativeTest {
protected:
  void start(CK_C_SignInit init, CK_MECHANISM_TYPE code = CKM_RSA_PKCS) {
    CK_MECHANISM mechanism = {code, nullptr, 0};
    EXPECT_EQ(init(hSession, &mechanism, hSecretKey), CKR_OK);
    env.clear();
  }
  static CK_BYTE_PTR in(const char* text) { return reinterpret_cast<CK_BYTE_PTR>(const_cast<char*>(text)); }
  std::string out() const { return std::string(reinterpret_cast<const char*>(buffer), length); }

  CK_BYTE buffer[64] = {};
  CK_ULONG length = sizeof buffer;
};

TEST_F(ScriptedModuleTest, RefusesNonsense) {
  for (const char* line :
       {"", "C_Nonsense", "C_Sign CKR_NONSENSE", "C_Sign length", "C_Sign length=", "C_Sign length=x", "C_Sign size=1x",
        "C_Sign data=ABC", "C_Sign data=GG", "C_Sign data=\"open", "C_Sign list=5..1", "C_Sign list=a",
        "C_Sign lenght=1", "C_Sign CKR_OK CKR_OK", "C_Sign length=99999999999999999999"}) {
    EXPECT_NONFATAL_FAILURE(module.answer(line), "script: ");
  }
  EXPECT_EQ(module.unused(), "");
}

TEST_F(ScriptedModuleTest, SignsAndVerifies) {
  start(functionList->C_SignInit);
  EXPECT_EQ(functionList->C_Sign(hSession, in("abc"), 3, nullptr, &length), CKR_OK);
  EXPECT_EQ(length, 7U);
  length = 6;
  EXPECT_EQ(functionList->C_Sign(hSession, in("abc"), 3, buffer, &length), CKR_BUFFER_TOO_SMALL);
  EXPECT_EQ(functionList->C_Sign(hSession, in("abc"), 3, buffer, &length), CKR_OK);
  EXPECT_EQ(out(), "SIG:cba");
  EXPECT_EQ(functionList->C_Sign(hSession, in("abc"), 3, buffer, &length), CKR_OPERATION_NOT_INITIALIZED);
  EXPECT_TRACE(R"(
    C_Sign session=0x5E51 data="abc" buffer=null length=64 -> CKR_OK length=7
    C_Sign session=0x5E51 data="abc" buffer=non-null length=6 -> CKR_BUFFER_TOO_SMALL length=7
    C_Sign session=0x5E51 data="abc" buffer=non-null length=7 -> CKR_OK length=7
    C_Sign session=0x5E51 data="abc" buffer=non-null length=7 -> CKR_OPERATION_NOT_INITIALIZED
  )");
  start(functionList->C_VerifyInit);
  EXPECT_EQ(functionList->C_Verify(hSession, in("abc"), 3, in("SIG:cba"), 7), CKR_OK);
  start(functionList->C_VerifyInit);
  EXPECT_EQ(functionList->C_Verify(hSession, in("abc"), 3, in("SIG:cbX"), 7), CKR_SIGNATURE_INVALID);
  start(functionList->C_VerifyInit);
  EXPECT_EQ(functionList->C_Verify(hSession, in("abc"), 3, in("SIG:cb"), 6), CKR_SIGNATURE_LEN_RANGE);
}

TEST_F(ScriptedModuleTest, EncryptsInBlocksWhatItDecryptsInOne) {
  start(functionList->C_EncryptInit);
  EXPECT_EQ(functionList->C_EncryptUpdate(hSession, in("message"), 7, buffer, &length), CKR_OK);
  EXPECT_EQ(out(), "MESS");
  length = sizeof buffer;
  EXPECT_EQ(functionList->C_EncryptUpdate(hSession, in("s"), 1, buffer, &length), CKR_OK);
  EXPECT_EQ(out(), "AGES");
  length = sizeof buffer;
  EXPECT_EQ(functionList->C_EncryptUpdate(hSession, in("x"), 1, buffer, &length), CKR_OK);
  EXPECT_EQ(out(), "");
  length = sizeof buffer;
  EXPECT_EQ(functionList->C_EncryptFinal(hSession, buffer, &length), CKR_OK);
  EXPECT_EQ(out(), "X");
  start(functionList->C_DecryptInit);
  length = sizeof buffer;
  EXPECT_EQ(functionList->C_Decrypt(hSession, in("MESSAGESX"), 9, buffer, &length), CKR_OK);
  EXPECT_EQ(out(), "messagesx");
}

TEST_F(ScriptedModuleTest, FeedsBothOperationsOfADualUpdate) {
  CK_MECHANISM digest = {CKM_SHA_1, nullptr, 0};
  EXPECT_EQ(functionList->C_DigestInit(hSession, &digest), CKR_OK);
  start(functionList->C_DecryptInit);
  EXPECT_EQ(functionList->C_DecryptDigestUpdate(hSession, in("MESS"), 4, buffer, &length), CKR_OK);
  EXPECT_EQ(out(), "mess");
  length = sizeof buffer;
  EXPECT_EQ(functionList->C_DigestFinal(hSession, buffer, &length), CKR_OK);
  EXPECT_EQ(out(), "mess................");
}

TEST_F(ScriptedModuleTest, LiesOnDemand) {
  module.answer("C_Sign CKR_OK length=5000");
  module.answer(R"(C_Sign data="abc" length=9 write=1)");
  module.answer("C_Sign CKR_BUFFER_TOO_SMALL length=-1");
  module.answer("C_Sign 0x80000001");
  start(functionList->C_SignInit);
  EXPECT_EQ(functionList->C_Sign(hSession, nullptr, 0, buffer, &length), CKR_OK);
  EXPECT_EQ(buffer[0], 0);
  length = sizeof buffer;
  EXPECT_EQ(functionList->C_Sign(hSession, nullptr, 0, buffer, &length), CKR_OK);
  EXPECT_EQ(std::memcmp(buffer, "a\0", 2), 0);
  functionList->C_Sign(hSession, nullptr, 0, buffer, &length);
  EXPECT_EQ(functionList->C_Sign(hSession, in("x"), 0xFFFFFFFFFFFFFFFF, buffer, &length), 0x80000001);
  EXPECT_TRACE(R"(
    C_Sign session=0x5E51 data=null dataLength=0 buffer=non-null length=64 -> CKR_OK length=5000
    C_Sign session=0x5E51 data=null dataLength=0 buffer=non-null length=64 -> CKR_OK length=9
    C_Sign session=0x5E51 data=null dataLength=0 buffer=non-null length=9 -> CKR_BUFFER_TOO_SMALL length=0xFFFFFFFFFFFFFFFF
    C_Sign session=0x5E51 data=non-null dataLength=0xFFFFFFFFFFFFFFFF buffer=non-null length=0xFFFFFFFFFFFFFFFF -> 0x80000001
  )");
}

TEST_F(ScriptedModuleTest, DoesNotLookAtInputThatItIsToldToLeaveUnread) {
  module.answer("C_SignUpdate unread");
  start(functionList->C_SignInit);
  EXPECT_EQ(functionList->C_SignUpdate(hSession, reinterpret_cast<CK_BYTE_PTR>(0x10), 1000), CKR_OK);
  EXPECT_TRACE("C_SignUpdate session=0x5E51 part=non-null partLength=1000 -> CKR_OK");
}

TEST_F(ScriptedModuleTest, FindsObjectsByTemplate) {
  CK_ATTRIBUTE label = {CKA_LABEL, in("pair"), 4};
  CK_OBJECT_HANDLE found[2] = {};
  CK_ULONG count = 0;
  EXPECT_EQ(functionList->C_FindObjectsInit(hSession, &label, 1), CKR_OK);
  EXPECT_EQ(functionList->C_FindObjects(hSession, found, 2, &count), CKR_OK);
  EXPECT_EQ(functionList->C_FindObjects(hSession, found, 2, &count), CKR_OK);
  EXPECT_EQ(functionList->C_FindObjectsFinal(hSession), CKR_OK);
  module.answer("C_FindObjects list=1..3 count=7");
  EXPECT_EQ(functionList->C_FindObjectsInit(hSession, nullptr, 0), CKR_OK);
  EXPECT_EQ(functionList->C_FindObjects(hSession, found, 2, &count), CKR_OK);
  EXPECT_EQ(found[1], 2U);
  EXPECT_TRACE(R"(
    C_FindObjectsInit session=0x5E51 template=[0x3 4:"pair"] -> CKR_OK
    C_FindObjects session=0x5E51 objects=non-null max=2 -> CKR_OK count=2
    C_FindObjects session=0x5E51 objects=non-null max=2 -> CKR_OK count=1
    C_FindObjectsFinal session=0x5E51 -> CKR_OK
    C_FindObjectsInit session=0x5E51 template=null:0 -> CKR_OK
    C_FindObjects session=0x5E51 objects=non-null max=2 -> CKR_OK count=7
  )");
}

TEST_F(ScriptedModuleTest, KeepsSecretsAndTellsMissingAttributes) {
  CK_ATTRIBUTE entries[] = {{CKA_LABEL, buffer, sizeof buffer}, {CKA_PRIVATE_EXPONENT, buffer, sizeof buffer}};
  EXPECT_EQ(functionList->C_GetAttributeValue(hSession, hPrivateKey, entries, 2), CKR_ATTRIBUTE_SENSITIVE);
  entries[1].type = CKA_ISSUER;
  EXPECT_EQ(functionList->C_GetAttributeValue(hSession, hPrivateKey, entries, 2), CKR_ATTRIBUTE_TYPE_INVALID);
  EXPECT_EQ(std::memcmp(buffer, "pair", 4), 0);
}

TEST_F(ScriptedModuleTest, ShowsMechanismParameters) {
  CK_BYTE iv[] = {1, 2, 3, 4, 5, 6, 7, 8};
  CK_RSA_PKCS_OAEP_PARAMS oaep = {CKM_SHA_1, 1, 1, iv, 2};
  CK_MECHANISM mechanism = {CKM_DES3_CBC, iv, 8};
  functionList->C_EncryptInit(hSession, &mechanism, 0xFFFFFFFF00000001);
  mechanism = {CKM_RSA_PKCS_OAEP, &oaep, sizeof oaep};
  functionList->C_EncryptInit(hSession, &mechanism, hPublicKey);
  EXPECT_TRACE(R"(
    C_EncryptInit session=0x5E51 mechanism=0x133 parameter=8:0102030405060708 key=0xFFFFFFFF00000001 -> CKR_KEY_HANDLE_INVALID
    C_EncryptInit session=0x5E51 mechanism=0x9 parameter=40:{hashAlg=0x220 mgf=0x1 source=0x1 sourceData=0102} key=0xB02 -> CKR_OK
  )");
}

TEST_F(ScriptedModuleTest, LetsAScriptFillInformationStructures) {
  module.answer(R"(C_GetTokenInfo label="Token" ulSessionCount=-1)");
  CK_TOKEN_INFO info;
  EXPECT_EQ(functionList->C_GetTokenInfo(0x11, &info), CKR_OK);
  EXPECT_EQ(std::string(info.label, info.label + 32), "Token" + std::string(27, ' '));
  EXPECT_EQ(info.ulSessionCount, CK_UNAVAILABLE_INFORMATION);
  EXPECT_EQ(info.ulMaxSessionCount, 101U);
}

TEST_F(ScriptedModuleTest, LeavesAHandleBehindWhenToldTo) {
  module.answer("C_GenerateKey CKR_DEVICE_ERROR handle=0x77");
  CK_MECHANISM mechanism = {CKM_DES3_KEY_GEN, nullptr, 0};
  CK_OBJECT_HANDLE hKey = 0;
  EXPECT_EQ(functionList->C_GenerateKey(hSession, &mechanism, nullptr, 0, &hKey), CKR_DEVICE_ERROR);
  EXPECT_EQ(hKey, 0x77U);
}

TEST_F(ScriptedModuleTest, FailsTheCallThatATestNames) {
  module.failCall(2, CKR_DEVICE_REMOVED);
  CK_INFO info;
  EXPECT_EQ(functionList->C_GetInfo(&info), CKR_OK);
  EXPECT_EQ(functionList->C_GetInfo(&info), CKR_DEVICE_REMOVED);
  EXPECT_EQ(functionList->C_GetInfo(&info), CKR_OK);
}

TEST_F(ScriptedModuleTest, BlocksWithoutItsLockUntilReleased) {
  module.answer("C_WaitForSlotEvent block");
  CK_SLOT_ID slotID = 0;
  std::thread waiting([&slotID] { functionList->C_WaitForSlotEvent(0, &slotID, nullptr); });
  while (module.blocked() == 0) {
    std::this_thread::yield();
  }
  CK_INFO info;
  EXPECT_EQ(functionList->C_GetInfo(&info), CKR_OK);
  EXPECT_EQ(slotID, 0U);
  module.release();
  waiting.join();
  EXPECT_EQ(slotID, 0x11U);
}

TEST_F(ScriptedModuleTest, WantsToBeInitialised) {
  EXPECT_EQ(functionList->C_Initialize(nullptr), CKR_CRYPTOKI_ALREADY_INITIALIZED);
  EXPECT_EQ(functionList->C_Finalize(nullptr), CKR_OK);
  CK_INFO info;
  EXPECT_EQ(functionList->C_GetInfo(&info), CKR_CRYPTOKI_NOT_INITIALIZED);
  EXPECT_EQ(functionList->C_CloseSession(hSession), CKR_CRYPTOKI_NOT_INITIALIZED);
}

TEST_F(ScriptedModuleTest, HasAllEntries) {
#define X(name) EXPECT_NE(functionList->name, nullptr) << #name;
#include "../module/functions.inc"
#undef X
  EXPECT_NE(functionList->C_GetFunctionList, nullptr);
}

struct Odd {
  const char* path;
  bool hasList;
  bool hasCallback;
};

class OddModulesTest : public ::testing::TestWithParam<Odd> {};

TEST_P(OddModulesTest, HoldWhatTheirNamesPromise) {
  void* const handle = dlopen(GetParam().path, RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(handle, nullptr) << dlerror();
  EXPECT_EQ(dlsym(handle, "C_GetFunctionList") != nullptr, GetParam().hasList);
  EXPECT_EQ(dlsym(handle, "C_SetCallBack") != nullptr, GetParam().hasCallback);
  dlclose(handle);
}

INSTANTIATE_TEST_SUITE_P(
    All, OddModulesTest,
    ::testing::Values(Odd{modules::kScripted, true, false}, Odd{modules::kSissp11, true, true},
                      Odd{modules::kSissp11Capitals, true, true}, Odd{modules::kSissp11NoCallback, true, false},
                      Odd{modules::kSissp11FailingCallback, true, true}, Odd{modules::kCallbackOtherName, true, true},
                      Odd{modules::kNoFunctionList, false, true}, Odd{modules::kListFails, true, false},
                      Odd{modules::kListNull, true, false}, Odd{modules::kListEmpty, true, false}));

TEST(OddModules, FailEachInItsWay) {
  const auto listOf = [](const char* path, CK_FUNCTION_LIST_PTR& list) {
    void* const handle = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    const CK_RV Rv = reinterpret_cast<CK_C_GetFunctionList>(dlsym(handle, "C_GetFunctionList"))(&list);
    return Rv;
  };
  CK_FUNCTION_LIST_PTR list = nullptr;
  EXPECT_EQ(listOf(modules::kListFails, list), CKR_FUNCTION_FAILED);
  EXPECT_NE(list, nullptr);
  EXPECT_EQ(listOf(modules::kListNull, list), CKR_OK);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(listOf(modules::kListEmpty, list), CKR_OK);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->C_Initialize, nullptr);
  EXPECT_EQ(list->C_WaitForSlotEvent, nullptr);
}

}  // namespace
