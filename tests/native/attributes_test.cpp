/// Attribute templates built from Java, and what becomes of a template's entries.
#include "marshalling_test.h"
#include "templates.h"

#include <climits>

namespace {

/// Frees the templates that a test had built.
class AttributesTest : public UnboundTest {
protected:
  ~AttributesTest() override { freeTemplate(made); }

  std::string build(const std::vector<jobject>& elements) { return build(env.attributes("template", elements)); }
  std::string build(jobjectArray jTemplate) {
    freeTemplate(made);
    return raisedBy([&] { Attribute2CKAttribute(jni, jTemplate, made); });
  }
  /// The bytes that the module is told of.
  std::string value(CK_ULONG index) const {
    return bytesAt(made.entries[index].pValue, made.entries[index].ulValueLen);
  }
  jbyteArray bytesOfClass(const std::string& className, const std::string& contents) {
    const jobject object = env.object("value", className);
    env.target(object)->contents = jvm::Bytes(contents.begin(), contents.end());
    return static_cast<jbyteArray>(object);
  }

  Template made = {};
};

TEST_F(AttributesTest, ANullTemplateIsEmptyWithoutAskingTheJvm) {
  CK_ATTRIBUTE elsewhere = {};
  made.entries = &elsewhere;
  made.count = 7;
  EXPECT_EQ(raisedBy([&] { Attribute2CKAttribute(jni, nullptr, made); }), "");
  EXPECT_EQ(made.entries, nullptr);
  EXPECT_EQ(made.count, 0U);
  EXPECT_TRACE("");
}

TEST_F(AttributesTest, AnEmptyTemplateIsLookedUpAllTheSame) {
  EXPECT_EQ(build(std::vector<jobject>{}), "");
  EXPECT_NE(made.entries, nullptr);
  EXPECT_EQ(made.count, 0U);
  EXPECT_TRACE(R"(
    FindClass velnor/Attribute
    GetFieldID velnor/Attribute type I
    GetFieldID velnor/Attribute value Ljava/lang/Object;
    FindClass java/lang/Integer
    FindClass java/lang/Boolean
    FindClass java/lang/String
    GetArrayLength template
    DeleteLocalRef java/lang/Integer
    DeleteLocalRef java/lang/Boolean
    DeleteLocalRef java/lang/String
  )");
}

TEST_F(AttributesTest, ConvertsEveryKindOfValueInOneTemplate) {
  EXPECT_EQ(build({env.attribute(CKA_TOKEN, nullptr), env.attribute(CKA_CLASS, env.integer(3)),
                   env.attribute(CKA_SIGN, env.boolean(true)), env.attribute(CKA_LABEL, env.string("", "abc")),
                   env.attribute(CKA_ID, env.bytes("id")), env.attribute(CKA_KEY_TYPE, env.integer(31)),
                   env.attribute(CKA_WRAP, env.boolean(false))}),
            "");
  EXPECT_TRACE(R"(
    FindClass velnor/Attribute
    GetFieldID velnor/Attribute type I
    GetFieldID velnor/Attribute value Ljava/lang/Object;
    FindClass java/lang/Integer
    FindClass java/lang/Boolean
    FindClass java/lang/String
    GetArrayLength template
    GetObjectArrayElement template 0
    GetIntField template[0] type
    GetObjectField template[0] value
    GetObjectArrayElement template 1
    GetIntField template[1] type
    GetObjectField template[1] value
    IsInstanceOf template[1].value java/lang/Integer
    GetMethodID java/lang/Integer intValue ()I
    CallIntMethod template[1].value intValue
    GetObjectArrayElement template 2
    GetIntField template[2] type
    GetObjectField template[2] value
    IsInstanceOf template[2].value java/lang/Integer
    IsInstanceOf template[2].value java/lang/Boolean
    GetMethodID java/lang/Boolean booleanValue ()Z
    CallBooleanMethod template[2].value booleanValue
    GetObjectArrayElement template 3
    GetIntField template[3] type
    GetObjectField template[3] value
    IsInstanceOf template[3].value java/lang/Integer
    IsInstanceOf template[3].value java/lang/Boolean
    IsInstanceOf template[3].value java/lang/String
    GetStringLength template[3].value
    GetStringUTFLength template[3].value
    GetStringUTFRegion template[3].value 0 3
    GetObjectArrayElement template 4
    GetIntField template[4] type
    GetObjectField template[4] value
    IsInstanceOf template[4].value java/lang/Integer
    IsInstanceOf template[4].value java/lang/Boolean
    IsInstanceOf template[4].value java/lang/String
    GetArrayLength template[4].value
    GetByteArrayRegion template[4].value 0 2
    GetObjectArrayElement template 5
    GetIntField template[5] type
    GetObjectField template[5] value
    IsInstanceOf template[5].value java/lang/Integer
    # the methods are looked up once a call
    CallIntMethod template[5].value intValue
    GetObjectArrayElement template 6
    GetIntField template[6] type
    GetObjectField template[6] value
    IsInstanceOf template[6].value java/lang/Integer
    IsInstanceOf template[6].value java/lang/Boolean
    CallBooleanMethod template[6].value booleanValue
    DeleteLocalRef java/lang/Integer
    DeleteLocalRef java/lang/Boolean
    DeleteLocalRef java/lang/String
  )");
  ASSERT_EQ(made.count, 7U);
  const CK_ATTRIBUTE_TYPE types[] = {0x1, 0x0, 0x108, 0x3, 0x102, 0x100, 0x106};
  const std::string values[] = {"\"\"", "0300000000000000", "01", "\"abc\"", "\"id\"", "1F00000000000000", "00"};
  for (CK_ULONG i = 0; i < made.count; ++i) {
    EXPECT_EQ(made.entries[i].type, types[i]) << i;
    EXPECT_EQ(value(i), values[i]) << i;
  }
  EXPECT_EQ(made.entries[0].pValue, nullptr);
}

TEST_F(AttributesTest, LooksTheMethodsUpAgainInEveryCall) {
  const std::vector<jobject> elements = {env.attribute(CKA_CLASS, env.integer(3)),
                                         env.attribute(CKA_SIGN, env.boolean(true))};
  EXPECT_EQ(build(elements), "");
  EXPECT_EQ(build(elements), "");
  EXPECT_EQ(env.calls("GetMethodID"), 4);
}

struct LookUp {
  const char* line;
  const char* text;
};

// In the order in which they happen: each failure is also preceded by all earlier lines.
const LookUp kLookUps[] = {
    {"FindClass velnor/Attribute", "Class 'velnor/Attribute' not found"},
    {"GetFieldID velnor/Attribute type I", "Field type not found"},
    {"GetFieldID velnor/Attribute value Ljava/lang/Object;", "Field value not found"},
    {"FindClass java/lang/Integer", "Attribute2CKAttribute - Class 'java/lang/Integer' not found"},
    {"FindClass java/lang/Boolean", "Attribute2CKAttribute - Class 'java/lang/Boolean' not found"},
    {"FindClass java/lang/String", "Attribute2CKAttribute - Class 'java/lang/String' not found"},
};

class AttributeLookUpTest : public AttributesTest, public ::testing::WithParamInterface<int> {};

TEST_P(AttributeLookUpTest, RaisesItsTextAndLeavesAnEmptyTemplate) {
  const auto failing = static_cast<std::size_t>(GetParam());
  env.failCall(GetParam() + 1, jvm::Leaving::Exception);
  EXPECT_EQ(build({env.attribute(CKA_CLASS, env.integer(3))}), kLookUps[failing].text);
  std::string lines;
  for (std::size_t i = 0; i <= failing; ++i) {
    lines += std::string(kLookUps[i].line) + (i == failing ? " -> null\n" : "\n");
  }
  EXPECT_EQ(takeTrace(), lines);
  EXPECT_EQ(made.entries, nullptr);
  EXPECT_EQ(made.count, 0U);
}

INSTANTIATE_TEST_SUITE_P(InOrder, AttributeLookUpTest, ::testing::Range(0, 6));

// The caller frees what is attached, so an entry must own its buffer, and the template must count it, by then.
TEST_F(AttributesTest, AnEntryOwnsItsBufferWhenTheMethodIsMissing) {
  const struct {
    const char* className;
    const char* method;
    jobject value;
    const char* text;
    CK_ULONG length;
  } rows[] = {
      {"java/lang/Integer", "intValue", env.integer(3), "Attribute2CKAttribute - intValue method not found", 8},
      {"java/lang/Boolean", "booleanValue", env.boolean(true), "Attribute2CKAttribute - boolValue method not found", 1},
  };
  for (const auto& row : rows) {
    env.declareMissing(row.className, row.method);
    EXPECT_EQ(build({env.attribute(CKA_LABEL, env.bytes("label")), env.attribute(CKA_ID, row.value)}), row.text);
    ASSERT_EQ(made.count, 2U);
    EXPECT_EQ(value(0), "\"label\"");
    EXPECT_EQ(made.entries[1].type, CKA_ID);
    EXPECT_EQ(made.entries[1].ulValueLen, row.length);
    EXPECT_NE(made.entries[1].pValue, nullptr);
  }
}

TEST_F(AttributesTest, AMethodThatNoValueNeedsMayBeMissing) {
  env.declareMissing("java/lang/Integer", "intValue");
  env.declareMissing("java/lang/Boolean", "booleanValue");
  EXPECT_EQ(build({env.attribute(CKA_LABEL, env.bytes("label"))}), "");
}

TEST_F(AttributesTest, ANullElementRaisesATextInsteadOfKillingTheJvm) {
  EXPECT_EQ(build({env.attribute(CKA_LABEL, env.bytes("label")), nullptr}),
            "Attribute2CKAttribute - attribute is NULL");
  ASSERT_EQ(made.count, 2U);
  EXPECT_EQ(value(0), "\"label\"");
  EXPECT_EQ(made.entries[1].pValue, nullptr);
  EXPECT_EQ(env.calls("GetIntField"), 1);
}

// Vendor types have bit 31 set in a Java int; modules see them sign-extended.
TEST_F(AttributesTest, TypesAreSignExtended) {
  const std::pair<jint, CK_ATTRIBUTE_TYPE> types[] = {{-1, 0xFFFFFFFFFFFFFFFF},
                                                      {INT_MIN, 0xFFFFFFFF80000000},
                                                      {INT_MIN + 0x1234, 0xFFFFFFFF80001234},
                                                      {INT_MAX, 0x7FFFFFFF},
                                                      {0x40000211, 0x40000211}};
  std::vector<jobject> elements;
  for (const auto& [type, widened] : types) {
    elements.push_back(env.attribute(type, nullptr));
  }
  EXPECT_EQ(build(elements), "");
  ASSERT_EQ(made.count, std::size(types));
  for (CK_ULONG i = 0; i < made.count; ++i) {
    EXPECT_EQ(made.entries[i].type, types[i].second) << i;
  }
}

// A number fills only the low half of its eight bytes, the sign included: tokens accept the zeroed high half as the
// number, and -1 has never reached a module as all ones.
TEST_F(AttributesTest, AnIntegerFillsTheLowHalfOnly) {
  const std::pair<jint, const char*> numbers[] = {{-1, "FFFFFFFF00000000"},
                                                  {0, "0000000000000000"},
                                                  {0x01020304, "0403020100000000"},
                                                  {INT_MIN, "0000008000000000"}};
  for (const auto& [number, bytes] : numbers) {
    EXPECT_EQ(build({env.attribute(CKA_MODULUS_BITS, env.integer(number))}), "");
    EXPECT_EQ(made.entries[0].ulValueLen, 8U);
    EXPECT_EQ(value(0), bytes);
  }
}

TEST_F(AttributesTest, ABooleanIsOneOnlyForExactlyOne) {
  const std::pair<std::int64_t, const char*> truths[] = {{0, "00"}, {1, "01"}, {2, "00"}, {255, "00"}};
  for (const auto& [answer, byte] : truths) {
    const jobject value = env.boolean(true);
    env.target(value)->constructedWith = {jvm::Value{'Z', answer, nullptr}};
    EXPECT_EQ(build({env.attribute(CKA_TOKEN, value)}), "");
    EXPECT_EQ(made.entries[0].ulValueLen, 1U);
    EXPECT_EQ(this->value(0), byte) << answer;
  }
}

// The length has always been the count of characters, although the copied form may be longer.
TEST_F(AttributesTest, AStringKeepsItsCharacterCountAndItsWholeModifiedUtf8Form) {
  const struct {
    std::u16string characters;
    CK_ULONG length;
    std::string modifiedUtf8;
  } rows[] = {
      {u"abc", 3, "abc"},
      {u"", 0, ""},
      {u"\u00E9", 1, "\xC3\xA9"},
      {u"a\u20AC\u20ACb", 4,
       "a\xE2\x82\xAC\xE2\x82\xAC"
       "b"},
      {std::u16string(u"x\0y", 3), 3, "x\xC0\x80y"},
      {u"\U0001F600", 2, "\xED\xA0\xBD\xED\xB8\x80"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(build({env.attribute(CKA_LABEL, env.string("", row.characters))}), "");
    EXPECT_EQ(made.entries[0].ulValueLen, row.length);
    ASSERT_NE(made.entries[0].pValue, nullptr);
    EXPECT_EQ(std::string(static_cast<const char*>(made.entries[0].pValue)), row.modifiedUtf8);
  }
}

TEST_F(AttributesTest, AnEmptyByteArrayHasAValueOfNoBytes) {
  EXPECT_EQ(build({env.attribute(CKA_ID, env.bytes(""))}), "");
  EXPECT_EQ(made.entries[0].ulValueLen, 0U);
  EXPECT_NE(made.entries[0].pValue, nullptr);
}

TEST_F(AttributesTest, BytesAreCopiedWhole) {
  const std::string bytes = std::string("\0\x80\xFF", 3) + std::string(5000, 'x');
  EXPECT_EQ(build({env.attribute(CKA_VALUE, env.bytes(bytes))}), "");
  EXPECT_EQ(value(0), bytesAt(bytes.data(), bytes.size()));
}

// Nothing tests for byte[]: whatever is no Integer, Boolean or String is read as one.
TEST_F(AttributesTest, AValueOfAnyOtherClassIsTakenForAByteArray) {
  EXPECT_EQ(build({env.attribute(CKA_VALUE, bytesOfClass("com/example/Odd", "odd"))}), "");
  EXPECT_EQ(value(0), "\"odd\"");
}

// --- Read templates --------------------------------------------------------------------------------------------------

class ReadTemplateTest : public UnboundTest {
protected:
  ~ReadTemplateTest() override { freeReadTemplate(made); }

  std::string build(jintArray types) {
    return raisedBy([&] { Attribute2CKAttribute_Get(jni, types, made); });
  }

  Template made = {};
};

// One buffer in all, whatever the number of attributes: this is why entries are read and converted one at a time.
TEST_F(ReadTemplateTest, AllEntriesShareOneBuffer) {
  EXPECT_EQ(build(env.ints("types", {CKA_CLASS, CKA_LABEL, -1, INT_MIN + 1})), "");
  EXPECT_TRACE(R"(
    GetIntArrayElements types
    GetArrayLength types
    ReleaseIntArrayElements types mode 0
  )");
  ASSERT_EQ(made.count, 4U);
  const CK_ATTRIBUTE_TYPE types[] = {0x0, 0x3, 0xFFFFFFFFFFFFFFFF, 0xFFFFFFFF80000001};
  for (CK_ULONG i = 0; i < made.count; ++i) {
    EXPECT_EQ(made.entries[i].type, types[i]) << i;
    EXPECT_EQ(made.entries[i].pValue, made.entries[0].pValue) << i;
    EXPECT_EQ(made.entries[i].ulValueLen, 2048U) << i;
  }
  ASSERT_NE(made.entries[0].pValue, nullptr);
  EXPECT_EQ(bytesAt(made.entries[0].pValue, 2048), "2048*00");
}

TEST_F(ReadTemplateTest, NoTypesLeaveTheTemplateAsItWas) {
  CK_ATTRIBUTE elsewhere = {};
  for (const jintArray none : {env.ints("types", {}), jintArray(nullptr)}) {
    made.entries = &elsewhere;
    made.count = 77;
    EXPECT_EQ(build(none), "");
    EXPECT_EQ(made.entries, &elsewhere);
    EXPECT_EQ(made.count, 0U);
  }
  made.entries = nullptr;
  EXPECT_EQ(env.calls("GetIntArrayElements"), 1) << "a null array must not reach the JVM";
}

TEST_F(ReadTemplateTest, RefusedElementsRaiseAText) {
  env.failNext("GetIntArrayElements", jvm::Leaving::Exception);
  EXPECT_EQ(build(env.ints("types", {CKA_CLASS})), "Attribute2CKAttribute_Get - attributes are NULL");
  EXPECT_TRACE("GetIntArrayElements types -> null");
  EXPECT_EQ(made.entries, nullptr);
  EXPECT_EQ(made.count, 0U);
}

TEST_F(ReadTemplateTest, NoOldValueRemainsWhereARefusedReadWasToGo) {
  CK_FUNCTION_LIST list = {};
  list.C_GetAttributeValue = [](CK_SESSION_HANDLE, CK_OBJECT_HANDLE, CK_ATTRIBUTE_PTR, CK_ULONG) -> CK_RV {
    return CKR_ATTRIBUTE_TYPE_INVALID;
  };
  functionList = &list;
  CK_BYTE buffer[kReadBufferSize];
  CK_ATTRIBUTE entry = {CKA_ID, buffer, sizeof buffer};
  jobject value = env.integer(7);
  EXPECT_EQ(readAttribute(jni, 1, 2, entry, value), CK_RV{CKR_ATTRIBUTE_TYPE_INVALID});
  EXPECT_EQ(value, nullptr);
  functionList = nullptr;
}

TEST_F(ReadTemplateTest, ASingleEntryHasABufferOfItsOwn) {
  CK_ATTRIBUTE entries[2] = {};
  Attribute2CKAttribute_Get(jni, CKA_VALUE, &entries[0]);
  Attribute2CKAttribute_Get(jni, INT_MIN + 2, &entries[1]);
  EXPECT_EQ(entries[0].type, 0x11U);
  EXPECT_EQ(entries[1].type, 0xFFFFFFFF80000002);
  for (const CK_ATTRIBUTE& entry : entries) {
    EXPECT_EQ(entry.ulValueLen, 2048U);
    ASSERT_NE(entry.pValue, nullptr);
    EXPECT_EQ(bytesAt(entry.pValue, 2048), "2048*00");
  }
  EXPECT_NE(entries[0].pValue, entries[1].pValue);
  EXPECT_TRACE("");
  free(entries[0].pValue);
  free(entries[1].pValue);
}

// --- Types -----------------------------------------------------------------------------------------------------------

enum class Kind { Integer, Boolean, Bytes, None };

struct TypeRow {
  CK_ATTRIBUTE_TYPE type;
  Kind kind;
  CK_ULONG readLength;
};

/// Every type with a conversion, one by one. Types in no row are read into the whole buffer and become null.
const TypeRow kTypes[] = {
    {0x000, Kind::Integer, 8},     // CKA_CLASS
    {0x001, Kind::Boolean, 1},     // CKA_TOKEN
    {0x002, Kind::Boolean, 1},     // CKA_PRIVATE
    {0x003, Kind::Bytes, 2048},    // CKA_LABEL
    {0x010, Kind::Bytes, 2048},    // CKA_APPLICATION
    {0x011, Kind::Bytes, 2048},    // CKA_VALUE
    {0x080, Kind::Integer, 8},     // CKA_CERTIFICATE_TYPE
    {0x082, Kind::Bytes, 2048},    // CKA_SERIAL_NUMBER
    {0x100, Kind::Integer, 8},     // CKA_KEY_TYPE
    {0x101, Kind::Bytes, 2048},    // CKA_SUBJECT
    {0x102, Kind::Bytes, 2048},    // CKA_ID
    {0x103, Kind::Boolean, 1},     // CKA_SENSITIVE
    {0x104, Kind::Boolean, 1},     // CKA_ENCRYPT
    {0x105, Kind::Boolean, 1},     // CKA_DECRYPT
    {0x106, Kind::Boolean, 1},     // CKA_WRAP
    {0x107, Kind::Boolean, 1},     // CKA_UNWRAP
    {0x108, Kind::Boolean, 1},     // CKA_SIGN
    {0x109, Kind::Boolean, 1},     // CKA_SIGN_RECOVER
    {0x10A, Kind::Boolean, 1},     // CKA_VERIFY
    {0x10B, Kind::Boolean, 1},     // CKA_VERIFY_RECOVER
    {0x10C, Kind::Boolean, 1},     // CKA_DERIVE
    {0x110, Kind::Bytes, 2048},    // CKA_START_DATE
    {0x111, Kind::Bytes, 2048},    // CKA_END_DATE
    {0x120, Kind::Bytes, 2048},    // CKA_MODULUS
    {0x121, Kind::Integer, 8},     // CKA_MODULUS_BITS
    {0x122, Kind::Bytes, 2048},    // CKA_PUBLIC_EXPONENT
    {0x123, Kind::Bytes, 2048},    // CKA_PRIVATE_EXPONENT
    {0x124, Kind::Bytes, 2048},    // CKA_PRIME_1
    {0x125, Kind::Bytes, 2048},    // CKA_PRIME_2
    {0x126, Kind::Bytes, 2048},    // CKA_EXPONENT_1
    {0x127, Kind::Bytes, 2048},    // CKA_EXPONENT_2
    {0x128, Kind::Bytes, 2048},    // CKA_COEFFICIENT
    {0x130, Kind::Bytes, 2048},    // CKA_PRIME
    {0x131, Kind::Bytes, 2048},    // CKA_SUBPRIME
    {0x132, Kind::Bytes, 2048},    // CKA_BASE
    {0x161, Kind::Integer, 8},     // CKA_VALUE_LEN
    {0x162, Kind::Boolean, 1},     // CKA_EXTRACTABLE
    {0x163, Kind::Boolean, 1},     // CKA_LOCAL
    {0x164, Kind::Boolean, 1},     // CKA_NEVER_EXTRACTABLE
    {0x165, Kind::Boolean, 1},     // CKA_ALWAYS_SENSITIVE
    {0x170, Kind::Boolean, 1},     // CKA_MODIFIABLE
    {0x202, Kind::Boolean, 2048},  // CKA_ALWAYS_AUTHENTICATE: see the test of its own
};

std::vector<TypeRow> everyType() {
  std::vector<TypeRow> types;
  for (CK_ATTRIBUTE_TYPE type = 0; type <= 0x700; ++type) {
    types.push_back({type, Kind::None, 2048});
  }
  for (const TypeRow& row : kTypes) {
    types[row.type] = row;
  }
  // Neither the vendor range, nor the same numbers sign-extended, nor with anything above 32 bits is taken for a row.
  for (const CK_ATTRIBUTE_TYPE above :
       {CK_ATTRIBUTE_TYPE{0x40000000}, CK_ATTRIBUTE_TYPE{0x80000000}, CK_ATTRIBUTE_TYPE{0x100000000},
        CK_ATTRIBUTE_TYPE{0xFFFFFFFF80000000}, CK_ATTRIBUTE_TYPE{0xFFFFFFFFFFFFF000}}) {
    for (const TypeRow& row : kTypes) {
      types.push_back({above + row.type, Kind::None, 2048});
    }
  }
  types.push_back({0xFFFFFFFFFFFFFFFF, Kind::None, 2048});
  return types;
}

class AttributeTypesTest : public UnboundTest {
protected:
  /// Offers 12 bytes that tell a number, a truth and bytes apart.
  std::string convert(CK_ATTRIBUTE_TYPE type, CK_ULONG length = 12) {
    unsigned char contents[] = {0x02, 0x00, 0x00, 0x80, 0x77, 0x77, 0x77, 0x77, 'a', 'b', 'c', 'd'};
    jobject object = nullptr;
    raised = raisedBy([&] { object = CkAttribute2Pkcs11Attribute(jni, {type, contents, length}); });
    return env.show(object);
  }
  std::string raised;
};

TEST_F(AttributeTypesTest, EveryTypeIsReadIntoTheLengthOfItsKind) {
  for (const TypeRow& row : everyType()) {
    CK_BYTE value = 0;
    CK_ATTRIBUTE attribute = {row.type, &value, 99};
    resetAttributeLen(&attribute);
    EXPECT_EQ(attribute.ulValueLen, row.readLength) << hex(row.type);
    EXPECT_EQ(attribute.type, row.type);
    EXPECT_EQ(attribute.pValue, &value);
  }
}

TEST_F(AttributeTypesTest, EveryTypeBecomesTheJavaClassOfItsKind) {
  const std::map<Kind, std::string> expected = {{Kind::Integer, "Integer(-2147483646)"},
                                                {Kind::Boolean, "Boolean(boolean 2)"},
                                                {Kind::Bytes, "020000807777777761626364"},
                                                {Kind::None, "null"}};
  for (const TypeRow& row : everyType()) {
    env.clear();
    EXPECT_EQ(convert(row.type), expected.at(row.kind)) << hex(row.type);
    EXPECT_EQ(raised, "");
    EXPECT_EQ(env.calls() == 0, row.kind == Kind::None) << hex(row.type);
  }
}

// Offered 2048 bytes although it converts as a boolean: modules have always been asked so, and some answer nothing to
// a length that is new to them.
TEST_F(AttributeTypesTest, AlwaysAuthenticateIsABooleanThatIsReadIntoTheWholeBuffer) {
  CK_ATTRIBUTE attribute = {CKA_ALWAYS_AUTHENTICATE, nullptr, 0};
  resetAttributeLen(&attribute);
  EXPECT_EQ(attribute.ulValueLen, 2048U);
  EXPECT_EQ(convert(CKA_ALWAYS_AUTHENTICATE), "Boolean(boolean 2)");
}

// The type alone decides, whatever length the module has left behind.
TEST_F(AttributeTypesTest, TheLengthDoesNotChooseTheKind) {
  for (const CK_ULONG length : {CK_ULONG{0}, CK_ULONG{1}, CK_ULONG{8}, CK_ULONG{12}, ~CK_ULONG{0}}) {
    EXPECT_EQ(convert(CKA_KEY_TYPE, length), "Integer(-2147483646)");
    EXPECT_EQ(convert(CKA_TOKEN, length), "Boolean(boolean 2)");
  }
  EXPECT_EQ(convert(CKA_LABEL, 0), "\"\"");
  EXPECT_EQ(convert(CKA_LABEL, 1), "02");
}

TEST_F(AttributeTypesTest, ANumberIsBuiltFromItsLowHalf) {
  EXPECT_EQ(convert(CKA_CLASS), "Integer(-2147483646)");
  EXPECT_TRACE(R"(
    FindClass java/lang/Integer
    GetMethodID java/lang/Integer <init> (I)V
    NewObject java/lang/Integer (-2147483646)
    DeleteLocalRef java/lang/Integer
  )");
}

TEST_F(AttributeTypesTest, ABooleanIsBuiltFromTheByteAsItIs) {
  EXPECT_EQ(convert(CKA_SIGN), "Boolean(boolean 2)");
  EXPECT_TRACE(R"(
    FindClass java/lang/Boolean
    GetMethodID java/lang/Boolean <init> (Z)V
    NewObject java/lang/Boolean (boolean 2)
    DeleteLocalRef java/lang/Boolean
  )");
}

TEST_F(AttributeTypesTest, BytesAreAsManyAsTheModuleSays) {
  EXPECT_EQ(convert(CKA_VALUE), "020000807777777761626364");
  EXPECT_TRACE(R"(
    NewByteArray 12
    SetByteArrayRegion byte[]#1 0 12 020000807777777761626364
  )");
}

struct Refusal {
  CK_ATTRIBUTE_TYPE type;
  int call;
  const char* text;
};

class AttributeRefusalTest : public AttributeTypesTest, public ::testing::WithParamInterface<Refusal> {};

TEST_P(AttributeRefusalTest, RaisesItsText) {
  env.failCall(GetParam().call, jvm::Leaving::Exception);
  EXPECT_EQ(convert(GetParam().type), "null");
  EXPECT_EQ(raised, GetParam().text);
  EXPECT_EQ(env.calls(), GetParam().call) << "nothing is asked after the failure";
}

INSTANTIATE_TEST_SUITE_P(
    EveryCall, AttributeRefusalTest,
    ::testing::Values(Refusal{CKA_CLASS, 1, "CkAttribute2Pkcs11Attribute - Class 'java/lang/Integer' not found"},
                      Refusal{CKA_CLASS, 2, "CkAttribute2Pkcs11Attribute - Integer constructor not found"},
                      // The one text without the function's name; callers compare it as it is.
                      Refusal{CKA_CLASS, 3, "objElemTemplate value is NULL"},
                      Refusal{CKA_TOKEN, 1, "CkAttribute2Pkcs11Attribute - Class 'java/lang/Boolean' not found"},
                      Refusal{CKA_TOKEN, 2, "CkAttribute2Pkcs11Attribute - Boolean constructor not found"},
                      Refusal{CKA_TOKEN, 3, "CkAttribute2Pkcs11Attribute - objElemTemplate value is NULL"},
                      Refusal{CKA_ID, 1, "CkAttribute2Pkcs11Attribute - byteArrayValue is NULL"}),
    [](const auto& test) {
      const CK_ATTRIBUTE_TYPE type = test.param.type;
      const std::string kind = type == CKA_CLASS ? "Integer" : type == CKA_TOKEN ? "Boolean" : "Bytes";
      return kind + std::to_string(test.param.call);
    });

// All ones say "unavailable"; that is an array of -1 bytes, which no JVM makes.
TEST_F(AttributeTypesTest, AnUnavailableValueRaisesTheTextOfTheRefusedArray) {
  EXPECT_EQ(convert(CKA_VALUE, ~CK_ULONG{0}), "null");
  EXPECT_EQ(raised, "CkAttribute2Pkcs11Attribute - byteArrayValue is NULL");
  EXPECT_TRACE("NewByteArray -1 -> null");
  EXPECT_EQ(env.pendingClass(), "java/lang/NegativeArraySizeException");
}

// The length is checked for the array and again for the copy; both go on with its low 32 bits.
TEST_F(AttributeTypesTest, ALengthBeyondAnIntIsReportedAndCut) {
  EXPECT_EQ(convert(CKA_VALUE, 0x100000004), "02000080");
  EXPECT_EQ(raised, "");
  EXPECT_TRACE(R"-(
    report "Check64BitLen" 5 "Value out of size for 32 bit (jint)"
    NewByteArray 4
    report "Check64BitLen" 5 "Value out of size for 32 bit (jint)"
    SetByteArrayRegion byte[]#3 0 4 02000080
  )-");
}

TEST_F(AttributeTypesTest, ALengthThatIsNegativeAfterTheCutIsRefused) {
  EXPECT_EQ(convert(CKA_VALUE, 0x80000000), "null");
  EXPECT_EQ(raised, "CkAttribute2Pkcs11Attribute - byteArrayValue is NULL");
  EXPECT_TRACE(R"-(
    report "Check64BitLen" 5 "Value out of size for 32 bit (jint)"
    NewByteArray -2147483648 -> null
  )-");
}

}  // namespace
