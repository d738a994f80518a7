/// A fresh library, module, token and Java side for one call of a native method.
#pragma once

#include "native_test.h"
#include "subjects.h"

#include <string>
#include <vector>

namespace registry {

/// How far the library has come when the method is called.
enum class Stage {
  Unbound,  ///< no module was ever loaded
  Loaded,
  Ready,  ///< initialised, and prepared for a good run
};

class World : public UnboundTest {
public:
  static constexpr CK_SESSION_HANDLE hSession = 0x5E51;
  static constexpr CK_OBJECT_HANDLE hSecretKey = 0xB01;
  static constexpr char kUserPin[] = "PIN of the user";
  static constexpr char kSOPin[] = "PIN of the officer";
  static constexpr jint kOffset = 3;  ///< where the method's part of every array with an offset begins
  static constexpr std::size_t kOutputSize = 64;
  static constexpr std::size_t kTemplateSize = 4;

  explicit World(const Subject& subject, Stage stage = Stage::Ready);
  ~World() override;

  /// Calls the method.
  void run();
  /// Has the method's session or slot be this one, as Java sees it.
  void nameHandle(jlong handle);

  using UnboundTest::cryptoki;
  using UnboundTest::env;
  using UnboundTest::jni;
  ScriptedModule token;
  const Subject& subject;
  jvalue result = {.j = 0};

  bool isOutput(const std::string& array) const { return array == "output"; }
  /// What of the arguments must not stay in memory.
  const std::vector<std::string>& secrets() const { return secrets_; }

  // For preparations.
  static void startEncrypting(World& world) { world.start(&CK_FUNCTION_LIST::C_EncryptInit, hSecretKey); }
  static void startDecrypting(World& world) { world.start(&CK_FUNCTION_LIST::C_DecryptInit, hSecretKey); }
  static void startDigesting(World& world) { world.start(&CK_FUNCTION_LIST::C_DigestInit); }
  static void startSigning(World& world) { world.start(&CK_FUNCTION_LIST::C_SignInit, hSecretKey); }
  static void startVerifying(World& world) { world.start(&CK_FUNCTION_LIST::C_VerifyInit, hSecretKey); }
  void login(CK_USER_TYPE user);
  template <typename Init, typename... Key>
  void start(Init CK_FUNCTION_LIST::*init, Key... key) {
    CK_MECHANISM mechanism = {CKM_SHA_1, nullptr, 0};
    expectOk((functionList->*init)(hSession, &mechanism, key...));
  }
  template <typename Update>
  void feed(Update CK_FUNCTION_LIST::*update, const std::string& part) {
    expectOk((functionList->*update)(hSession, bytesOf(part), part.size()));
  }
  template <typename Update>
  void stream(Update CK_FUNCTION_LIST::*update, const std::string& part) {
    CK_BYTE out[kOutputSize];
    CK_ULONG length = sizeof out;
    expectOk((functionList->*update)(hSession, bytesOf(part), part.size(), out, &length));
  }
  static void expectOk(CK_RV Rv) { EXPECT_EQ(Rv, CKR_OK) << "preparing"; }

private:
  static constexpr jint kSlot = 0x11;

  void TestBody() override {}
  void prepare();
  void setPins();
  void makeArguments();
  jvalue makeArgument(std::size_t index);
  jint makeInt(std::size_t index);
  jbyteArray makeBytes(std::size_t index);
  jobjectArray makeTemplate();
  std::string parameterClassOf(jint code);
  jobject makeMechanism();
  jobject makeParameter(const std::string& className, const std::string& name);
  std::string secret(const std::string& text);
  static CK_BYTE_PTR bytesOf(const std::string& text) {
    return reinterpret_cast<CK_BYTE_PTR>(const_cast<char*>(text.data()));
  }
  bool follows(std::size_t index, std::size_t distance, Kind kind) const;

  const Stage stage_;
  jlong sessionHandle_ = static_cast<jlong>(hSession);
  jint slotID_ = kSlot;
  std::vector<jvalue> arguments_;
  std::vector<std::string> secrets_;
  std::size_t arrays_ = 0;
  std::size_t strings_ = 0;
  std::size_t ints_ = 0;
  std::size_t templates_ = 0;
};

}  // namespace registry
