/// The stack: small ranges lie on it during a call, and no secret does behind it. The calls run on memory of the test's
/// own, between a JVM and a module that keep nothing.
#include "calls.h"

#include <algorithm>
#include <pthread.h>
#include <string_view>
#include <vector>

using namespace functions;

namespace {

// --- A JVM that only copies ------------------------------------------------------------------------------------------

struct Array {
  std::vector<char> bytes;
  std::size_t width;
};

Array& of(jobject array) {
  return *reinterpret_cast<Array*>(array);
}

jsize length(JNIEnv*, jarray array) {
  return static_cast<jsize>(of(array).bytes.size() / of(array).width);
}

template <typename Java, typename Element>
void readRegion(JNIEnv*, Java array, jsize start, jsize count, Element* out) {
  std::copy_n(of(array).bytes.data() + static_cast<std::size_t>(start) * sizeof(Element),
              static_cast<std::size_t>(count) * sizeof(Element), reinterpret_cast<char*>(out));
}

template <typename Java, typename Element>
void writeRegion(JNIEnv*, Java array, jsize start, jsize count, const Element* in) {
  std::copy_n(reinterpret_cast<const char*>(in), static_cast<std::size_t>(count) * sizeof(Element),
              of(array).bytes.data() + static_cast<std::size_t>(start) * sizeof(Element));
}

JNIEnv* copyingEnv() {
  static JNINativeInterface_ table = {};
  static JNIEnv_ env = {};
  table.GetArrayLength = length;
  table.GetByteArrayRegion = readRegion<jbyteArray, jbyte>;
  table.SetByteArrayRegion = writeRegion<jbyteArray, jbyte>;
  table.SetLongArrayRegion = writeRegion<jlongArray, jlong>;
  env.functions = &table;
  return &env;
}

class Arrays {
public:
  jbyteArray bytes(const std::string& contents) {
    return reinterpret_cast<jbyteArray>(add({std::vector<char>(contents.begin(), contents.end()), 1}));
  }
  jlongArray longs(std::size_t count) {
    return reinterpret_cast<jlongArray>(add({std::vector<char>(count * sizeof(jlong)), sizeof(jlong)}));
  }

private:
  Array* add(Array array) {
    arrays_.push_back(std::make_unique<Array>(std::move(array)));
    return arrays_.back().get();
  }
  std::vector<std::unique_ptr<Array>> arrays_;
};

// --- A module that only writes ---------------------------------------------------------------------------------------

constexpr char kMade[] = "secret output";

CK_RV writes(CK_BYTE_PTR out, CK_ULONG_PTR length) {
  if (out != nullptr) {
    std::copy_n(kMade, sizeof kMade - 1, out);
  }
  *length = sizeof kMade - 1;
  return CKR_OK;
}

CK_FUNCTION_LIST& silentFunctions() {
  static CK_FUNCTION_LIST list = {};
  list.version = {2, 40};
  list.C_Login = [](CK_SESSION_HANDLE, CK_USER_TYPE, CK_UTF8CHAR_PTR, CK_ULONG) -> CK_RV { return CKR_OK; };
  list.C_SetPIN = [](CK_SESSION_HANDLE, CK_UTF8CHAR_PTR, CK_ULONG, CK_UTF8CHAR_PTR, CK_ULONG) -> CK_RV {
    return CKR_PIN_INCORRECT;
  };
  list.C_InitPIN = [](CK_SESSION_HANDLE, CK_UTF8CHAR_PTR, CK_ULONG) -> CK_RV { return CKR_OK; };
  list.C_InitToken = [](CK_SLOT_ID, CK_UTF8CHAR_PTR, CK_ULONG, CK_UTF8CHAR_PTR) -> CK_RV { return CKR_OK; };
  list.C_SetOperationState = [](CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_OBJECT_HANDLE, CK_OBJECT_HANDLE) -> CK_RV {
    return CKR_OK;
  };
  list.C_Decrypt = [](CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR out, CK_ULONG_PTR outLength) -> CK_RV {
    return writes(out, outLength);
  };
  list.C_Encrypt = [](CK_SESSION_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_BYTE_PTR out, CK_ULONG_PTR outLength) -> CK_RV {
    writes(out, outLength);
    return CKR_DEVICE_ERROR;
  };
  list.C_DecryptFinal = [](CK_SESSION_HANDLE, CK_BYTE_PTR out, CK_ULONG_PTR outLength) -> CK_RV {
    return writes(out, outLength);
  };
  list.C_GenerateRandom = [](CK_SESSION_HANDLE, CK_BYTE_PTR out, CK_ULONG) -> CK_RV {
    CK_ULONG outLength = 0;
    return writes(out, &outLength);
  };
  list.C_CreateObject = [](CK_SESSION_HANDLE, CK_ATTRIBUTE_PTR, CK_ULONG, CK_OBJECT_HANDLE_PTR) -> CK_RV {
    return CKR_OK;
  };
  list.C_GetAttributeValue = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR pTemplate, CK_ULONG) -> CK_RV {
    return writes(static_cast<CK_BYTE_PTR>(pTemplate->pValue), &pTemplate->ulValueLen);
  };
  list.C_GenerateKeyPair = [](CK_SESSION_HANDLE, CK_MECHANISM_PTR, CK_ATTRIBUTE_PTR, CK_ULONG, CK_ATTRIBUTE_PTR,
                              CK_ULONG, CK_OBJECT_HANDLE_PTR, CK_OBJECT_HANDLE_PTR) -> CK_RV { return CKR_OK; };
  list.C_WrapKey = [](CK_SESSION_HANDLE, CK_MECHANISM_PTR, CK_OBJECT_HANDLE, CK_OBJECT_HANDLE, CK_BYTE_PTR out,
                      CK_ULONG_PTR outLength) -> CK_RV { return writes(out, outLength); };
  list.C_UnwrapKey = [](CK_SESSION_HANDLE, CK_MECHANISM_PTR, CK_OBJECT_HANDLE, CK_BYTE_PTR, CK_ULONG, CK_ATTRIBUTE_PTR,
                        CK_ULONG, CK_OBJECT_HANDLE_PTR) -> CK_RV { return CKR_OK; };
  return list;
}

// --- The stack -------------------------------------------------------------------------------------------------------

class FunctionsWipedStackTest : public FunctionsTest {
protected:
  /// Whether a piece of a secret is left on the stack on which `call` ran.
  template <typename Call>
  static bool leavesASecret(Call call) {
    constexpr std::size_t kSize = 1 << 20;
    static std::vector<std::max_align_t> stack(kSize / sizeof(std::max_align_t));
    std::fill(stack.begin(), stack.end(), std::max_align_t());
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    EXPECT_EQ(pthread_attr_setstack(&attributes, stack.data(), kSize), 0);
    pthread_t thread = {};
    EXPECT_EQ(pthread_create(
                  &thread, &attributes,
                  [](void* argument) -> void* {
                    (*static_cast<Call*>(argument))();
                    return nullptr;
                  },
                  &call),
              0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const std::string_view left(reinterpret_cast<const char*>(stack.data()), kSize);
    return left.find("secret") != std::string_view::npos;
  }

  jlong silentModule() {
    static const jlong id = [this] {
      static puppet::Module module(copy(modules::kPuppet));
      module.list(silentFunctions());
      return load(module.path());
    }();
    return id;
  }
};

// Without this the absence of secrets would prove nothing.
TEST_F(FunctionsWipedStackTest, ASecretIsSeen) {
  EXPECT_TRUE(leavesASecret([] {
    char onStack[32];
    std::copy(std::begin(kMade), std::end(kMade), onStack);
    asm volatile("" : : "r"(onStack) : "memory");
  }));
}

TEST_F(FunctionsWipedStackTest, NoCallLeavesOne) {
  Arrays arrays;
  JNIEnv* const e = copyingEnv();
  const jlong id = silentModule();
  const jbyteArray in = arrays.bytes("secret input");
  const jbyteArray out = arrays.bytes(std::string(40, '-'));
  const jbyteArray label = arrays.bytes("secret label of thirty-two bytes");
  const jlongArray numbers = arrays.longs(2);
  const std::string aTemplate = templateBytes({{0xCA7, "secret value"}});
  const jbyteArray attributes = arrays.bytes(aTemplate);
  StructureBytes readTemplate(24);
  readTemplate.comesBack();
  readTemplate.point(8, "secret value");
  readTemplate.number(16, 12);
  const jbyteArray read = arrays.bytes(readTemplate.bytes());
  const jbyteArray parameter = arrays.bytes(plainBytes("secret parameter"));
  std::string bad = aTemplate;
  bad.back() = 'x';
  const jbyteArray malformed = arrays.bytes(bad);

  struct Row {
    const char* name;
    std::function<void()> call;
  };
  const auto index = [](const char* function) { return indexOf(function); };
  const jint kSetPIN = index("C_SetPIN");
  const jint kInitPIN = index("C_InitPIN");
  const jint kDecrypt = index("C_Decrypt");
  const jint kEncrypt = index("C_Encrypt");
  const jint kDecryptFinal = index("C_DecryptFinal");
  const jint kGetAttributeValue = index("C_GetAttributeValue");
  const Row rows[] = {
      {"login",
       [&] {
         NATIVE(login)
         (e, nullptr, id, 1, 1, in);
       }},
      {"twoBytes",
       [&] {
         NATIVE(twoBytes)
         (e, nullptr, id, kSetPIN, 1, in, 0, 12, in, 0, 12);
       }},
      {"twoBytes with a bad range",
       [&] {
         NATIVE(twoBytes)
         (e, nullptr, id, kSetPIN, 1, in, 0, 12, in, 0, 13);
       }},
      {"bytes",
       [&] {
         NATIVE(bytes)
         (e, nullptr, id, kInitPIN, 1, in, 0, 12);
       }},
      {"initToken",
       [&] {
         NATIVE(initToken)
         (e, nullptr, id, 1, in, label);
       }},
      {"initToken with a bad label",
       [&] {
         NATIVE(initToken)
         (e, nullptr, id, 1, in, in);
       }},
      {"setOperationState",
       [&] {
         NATIVE(setOperationState)
         (e, nullptr, id, 1, in, 0, 0);
       }},
      {"process",
       [&] {
         NATIVE(process)
         (e, nullptr, id, kDecrypt, 1, in, 0, 12, out, 0, 40);
       }},
      {"process that fails",
       [&] {
         NATIVE(process)
         (e, nullptr, id, kEncrypt, 1, in, 0, 12, out, 0, 40);
       }},
      {"output",
       [&] {
         NATIVE(output)
         (e, nullptr, id, kDecryptFinal, 1, out, 0, 40);
       }},
      {"fill",
       [&] {
         NATIVE(fill)
         (e, nullptr, id, 0, 1, out, 0, 40);
       }},
      {"create",
       [&] {
         NATIVE(create)
         (e, nullptr, id, 1, attributes, numbers);
       }},
      {"create with a bad template",
       [&] {
         NATIVE(create)
         (e, nullptr, id, 1, malformed, numbers);
       }},
      {"attributes",
       [&] {
         NATIVE(attributes)
         (e, nullptr, id, kGetAttributeValue, 1, 1, read);
       }},
      {"generateKeyPair",
       [&] {
         NATIVE(generateKeyPair)
         (e, nullptr, id, 1, 1, parameter, attributes, attributes, numbers);
       }},
      {"wrapKey",
       [&] {
         NATIVE(wrapKey)
         (e, nullptr, id, 1, 1, parameter, 1, 1, out);
       }},
      {"unwrapKey",
       [&] {
         NATIVE(unwrapKey)
         (e, nullptr, id, 1, 1, parameter, 1, in, 0, 12, attributes, numbers);
       }},
  };
  for (const Row& row : rows) {
    // The first call has the loader bind what the test needs, which saves registers with pieces of what they held.
    row.call();
    EXPECT_FALSE(leavesASecret(row.call)) << row.name;
  }
}

}  // namespace
