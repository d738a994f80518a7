#include "recording_env.h"

#include <cstring>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace jvm {
namespace {

class RecordingEnvTest : public ::testing::Test {
protected:
  jfieldID field(const char* type, const char* name, const char* signature) {
    return jni->GetFieldID(jni->FindClass(type), name, signature);
  }

  RecordingEnv env;
  JNIEnv* const jni = env.jni();
};

TEST_F(RecordingEnvTest, ReadsTheLowHalfOfALongAsAnInt) {
  const jobject session = env.session("session", 0x1234567880000007);
  const jfieldID handle = field("velnor/nat/NativeSession", "m_sessionHandle", "J");
  EXPECT_EQ(jni->GetIntField(session, handle), static_cast<jint>(0x80000007));
  EXPECT_EQ(jni->GetLongField(session, handle), 0x1234567880000007);
  EXPECT_EQ(env.journal()[2], "GetIntField session m_sessionHandle");
}

TEST_F(RecordingEnvTest, ReadsTheLowByteOfAnIntAsAByte) {
  const jobject version = env.set(env.object("version", "velnor/Version"), "m_majorVersion", 0x0103);
  EXPECT_EQ(jni->GetByteField(version, field("velnor/Version", "m_majorVersion", "I")), 3);
}

TEST_F(RecordingEnvTest, RefusesOtherMixturesOfKinds) {
  const jobject mechanism = env.mechanism("mechanism", 1);
  const jfieldID code = field("velnor/Mechanism", "mechanism", "I");
  EXPECT_NONFATAL_FAILURE(jni->GetLongField(mechanism, code), "GetLongField on mechanism, which is of type I");
  EXPECT_NONFATAL_FAILURE(jni->GetObjectField(mechanism, code), "GetObjectField on mechanism, which is of type I");
}

TEST_F(RecordingEnvTest, RefusesMembersOfOtherClasses) {
  const jobject slot = env.slot("slot", 1);
  const jfieldID handle = field("velnor/nat/NativeSession", "m_sessionHandle", "J");
  EXPECT_NONFATAL_FAILURE(jni->GetIntField(slot, handle), "is no field of velnor/nat/NativeSlot");
  const jmethodID intValue = jni->GetMethodID(jni->FindClass("java/lang/Integer"), "intValue", "()I");
  EXPECT_NONFATAL_FAILURE(jni->CallIntMethod(slot, intValue), "intValue is a method of java/lang/Integer");
  const jmethodID constructor = jni->GetMethodID(jni->FindClass("velnor/Version"), "<init>", "(II)V");
  const jclass other = jni->FindClass("velnor/nat/NativeSlot");
  EXPECT_NONFATAL_FAILURE(jni->NewObject(other, constructor, 1, 2), "with the constructor of velnor/Version");
}

TEST_F(RecordingEnvTest, RefusesWhatWouldKillAJvm) {
  EXPECT_NONFATAL_FAILURE(jni->GetArrayLength(nullptr), "GetArrayLength on null");
  EXPECT_NONFATAL_FAILURE(jni->GetByteArrayElements(nullptr, nullptr), "GetByteArrayElements on null");
  EXPECT_NONFATAL_FAILURE(jni->GetStringUTFChars(nullptr, nullptr), "GetStringUTFChars on null");
  const jfieldID type = field("velnor/Attribute", "type", "I");
  EXPECT_NONFATAL_FAILURE(jni->GetIntField(nullptr, type), "GetIntField on null");
}

TEST_F(RecordingEnvTest, NoticesDeletedReferences) {
  const jclass type = jni->FindClass("velnor/Version");
  jni->DeleteLocalRef(type);
  EXPECT_NONFATAL_FAILURE(jni->GetMethodID(type, "<init>", "(II)V"), "on a deleted reference to velnor/Version");
  EXPECT_NONFATAL_FAILURE(jni->DeleteLocalRef(type), "deleted twice");
  EXPECT_EQ(env.localReferencesCreated(), 1);
  EXPECT_EQ(env.localReferencesDeleted(), 1);
}

TEST_F(RecordingEnvTest, FindsNothingThatIsDeclaredMissing) {
  env.declareMissing("velnor/Version");
  env.declareMissing("velnor/nat/NativeSession", "m_sessionHandle");
  EXPECT_EQ(jni->FindClass("velnor/Version"), nullptr);
  EXPECT_EQ(env.pendingClass(), "java/lang/NoClassDefFoundError");
  EXPECT_EQ(field("velnor/nat/NativeSession", "m_sessionHandle", "J"), nullptr);
  EXPECT_EQ(env.pendingClass(), "java/lang/NoSuchFieldError");
  EXPECT_EQ(field("velnor/Mechanism", "mechanism", "J"), nullptr);
  EXPECT_EQ(jni->FindClass("velnor/Unheard"), nullptr);
  EXPECT_EQ(env.trace(), "FindClass velnor/Version -> null\n"
                         "FindClass velnor/nat/NativeSession\n"
                         "GetFieldID velnor/nat/NativeSession m_sessionHandle J -> null\n"
                         "FindClass velnor/Mechanism\n"
                         "GetFieldID velnor/Mechanism mechanism J -> null\n"
                         "FindClass velnor/Unheard -> null\n");
}

TEST_F(RecordingEnvTest, GoesOnWithAnExceptionPendingAndReplacesIt) {
  EXPECT_EQ(jni->NewByteArray(-1), nullptr);
  EXPECT_EQ(env.pendingClass(), "java/lang/NegativeArraySizeException");
  const jclass type = jni->FindClass("velnor/CryptokiException");
  const jmethodID constructor = jni->GetMethodID(type, "<init>", "(Ljava/lang/String;ILjava/lang/String;)V");
  const jobject exception = jni->NewObject(type, constructor, env.string("", std::string("J_Sign")), jint{5},
                                           env.string("", std::string("Data is NULL")));
  ASSERT_NE(exception, nullptr);
  EXPECT_EQ(jni->Throw(static_cast<jthrowable>(exception)), 0);
  EXPECT_EQ(env.pending(), R"(CryptokiException("J_Sign", 5, "Data is NULL"))");
  ASSERT_TRUE(env.pendingReport());
  EXPECT_EQ(env.pendingReport()->code, 5);
  EXPECT_EQ(env.pendingReport()->message, "Data is NULL");
  EXPECT_EQ(env.thrown().size(), 2U);
  EXPECT_EQ(env.journal().back(), R"(Throw CryptokiException("J_Sign", 5, "Data is NULL"))");
}

TEST_F(RecordingEnvTest, CopiesNothingOutOfBounds) {
  const jbyteArray iv = env.bytes("iv", "abc");
  jbyte buffer[8] = {};
  jni->GetByteArrayRegion(iv, 0, 8, buffer);
  EXPECT_EQ(buffer[0], 0);
  EXPECT_EQ(env.pendingClass(), "java/lang/ArrayIndexOutOfBoundsException");
  jni->SetByteArrayRegion(iv, 2, 2, buffer);
  EXPECT_EQ(env.bytesOf(iv), "abc");
  char characters[8] = {};
  jni->GetStringUTFRegion(env.string("pin", std::string("12")), 0, 3, characters);
  EXPECT_EQ(characters[0], 0);
  EXPECT_EQ(env.pendingClass(), "java/lang/StringIndexOutOfBoundsException");
  EXPECT_EQ(env.trace(), "GetByteArrayRegion iv 0 8 -> null\n"
                         "SetByteArrayRegion iv 2 2 -> null\n"
                         "GetStringUTFRegion pin 0 3 -> null\n");
}

TEST_F(RecordingEnvTest, FailsTheCallThatATestNames) {
  env.failNth("NewByteArray", 2);
  EXPECT_NE(jni->NewByteArray(1), nullptr);
  EXPECT_TRUE(env.faultsLeft());
  EXPECT_EQ(jni->NewByteArray(2), nullptr);
  EXPECT_FALSE(env.faultsLeft());
  EXPECT_EQ(env.pending(), "");
  EXPECT_NE(jni->NewByteArray(3), nullptr);
  EXPECT_EQ(env.calls(), 3);

  env.clear();
  env.failCall(2, Leaving::Exception);
  EXPECT_NE(jni->FindClass("velnor/Info"), nullptr);
  EXPECT_EQ(jni->FindClass("velnor/Version"), nullptr);
  EXPECT_EQ(env.pendingClass(), "java/lang/NoClassDefFoundError");
  EXPECT_EQ(env.lastFailed(), "FindClass");
}

TEST_F(RecordingEnvTest, DoesNotFailWhatCannotFailInAJvm) {
  env.failCall(1);
  jni->DeleteLocalRef(nullptr);
  EXPECT_TRUE(env.faultsLeft());
}

TEST_F(RecordingEnvTest, DecodesStringsFromBytesAndFromModifiedUtf8) {
  const jclass type = jni->FindClass("java/lang/String");
  const jmethodID constructor = jni->GetMethodID(type, "<init>", "([B)V");
  EXPECT_EQ(env.show(jni->NewObject(type, constructor, env.bytes("b", "caff\xC3\xA8"))), "\"caff\xC3\xA8\"");
  EXPECT_EQ(env.show(jni->NewStringUTF("caff\xC3\xA8")), "\"caff\xC3\xA8\"");
  const jstring text = env.string("text", std::u16string(u"a\0\u00E8\U0001F600", 5));
  EXPECT_EQ(jni->GetStringLength(text), 5);
  EXPECT_EQ(jni->GetStringUTFLength(text), 1 + 2 + 2 + 3 + 3);
  EXPECT_EQ(fromModifiedUtf8(toModifiedUtf8(u"a\u00E8\U0001F600")), u"a\u00E8\U0001F600");
}

TEST_F(RecordingEnvTest, NamesWhatHangsOnAnObjectAfterIt) {
  const jobject value = env.integer(3);
  env.attributes("template", {env.attribute(0, value), env.attribute(3, env.bytes("label"))});
  EXPECT_EQ(env.nameOf(value), "template[0].value");
  EXPECT_EQ(env.brief(Value{'L', 0, env.target(value)}), "template[0].value");
  EXPECT_EQ(env.show(value), "Integer(3)");
}

TEST_F(RecordingEnvTest, BuildsObjectsWhoseFieldsCanBeReadBack) {
  const jclass type = jni->FindClass("velnor/nat/NativeSession");
  const jmethodID constructor = jni->GetMethodID(type, "<init>", "(Lvelnor/Slot;I)V");
  const jobject session = jni->NewObject(type, constructor, env.slot("slot", 17), jint{-2});
  EXPECT_EQ(jni->GetLongField(session, field("velnor/nat/NativeSession", "m_sessionHandle", "J")), -2);
  EXPECT_EQ(env.journal()[2], "NewObject velnor/nat/NativeSession (slot, -2)");
}

TEST_F(RecordingEnvTest, KnowsInheritance) {
  EXPECT_TRUE(jni->IsInstanceOf(env.slot("slot", 1), jni->FindClass("velnor/Slot")));
  EXPECT_FALSE(jni->IsInstanceOf(env.bytes("b", ""), jni->FindClass("java/lang/String")));
}

using RecordingEnvDeathTest = RecordingEnvTest;

TEST_F(RecordingEnvDeathTest, NamesTheFunctionThatItDoesNotModel) {
  EXPECT_DEATH(jni->MonitorEnter(env.integer(1)), "does not model the JNI function MonitorEnter");
}

}  // namespace
}  // namespace jvm
