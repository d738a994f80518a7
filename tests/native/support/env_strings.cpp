#include "../module/text.h"
#include "env_functions.h"

#include <cstring>
#include <gtest/gtest.h>

namespace jvm {
namespace {

const std::u16string* textOf(RecordingEnv& env, jstring string, const char* function) {
  const Object* const object = env.require(string, function);
  const auto* const contents = object == nullptr ? nullptr : std::get_if<std::u16string>(&object->contents);
  if (object != nullptr && contents == nullptr) {
    ADD_FAILURE() << function << " on " << object->name << ", which is a " << object->type->name;
  }
  return contents;
}

jstring NewStringUTF(JNIEnv* jni, const char* characters) {
  RecordingEnv& env = self(jni);
  if (env.enter("NewStringUTF", characters == nullptr ? "null" : text::bytes(characters, std::strlen(characters))) ||
      characters == nullptr) {
    return nullptr;
  }
  Object* const object = env.create(&env.classes.define("java/lang/String"));
  object->contents = fromModifiedUtf8(characters);
  return static_cast<jstring>(env.newLocal(object));
}

jsize GetStringLength(JNIEnv* jni, jstring string) {
  RecordingEnv& env = self(jni);
  if (env.enter("GetStringLength", env.nameOf(string))) {
    return 0;
  }
  const std::u16string* const contents = textOf(env, string, "GetStringLength");
  return contents == nullptr ? 0 : static_cast<jsize>(contents->size());
}

jsize GetStringUTFLength(JNIEnv* jni, jstring string) {
  RecordingEnv& env = self(jni);
  if (env.enter("GetStringUTFLength", env.nameOf(string))) {
    return 0;
  }
  const std::u16string* const contents = textOf(env, string, "GetStringUTFLength");
  return contents == nullptr ? 0 : static_cast<jsize>(toModifiedUtf8(*contents).size());
}

const char* GetStringUTFChars(JNIEnv* jni, jstring string, jboolean* isCopy) {
  RecordingEnv& env = self(jni);
  if (env.enter("GetStringUTFChars", env.nameOf(string))) {
    return nullptr;
  }
  const std::u16string* const contents = textOf(env, string, "GetStringUTFChars");
  if (contents == nullptr) {
    return nullptr;
  }
  if (isCopy != nullptr) {
    *isCopy = JNI_TRUE;
  }
  const std::string characters = toModifiedUtf8(*contents);
  return static_cast<const char*>(
      env.loans.lend(env.target(string), "characters", characters.c_str(), characters.size() + 1));
}

void ReleaseStringUTFChars(JNIEnv* jni, jstring string, const char* characters) {
  RecordingEnv& env = self(jni);
  env.record("ReleaseStringUTFChars", env.nameOf(string) + (characters == nullptr ? " characters=null" : ""));
  env.loans.takeBack(env.target(string), "characters", characters, JNI_ABORT, [](const void*, std::size_t) {});
}

void GetStringUTFRegion(JNIEnv* jni, jstring string, jsize start, jsize count, char* out) {
  RecordingEnv& env = self(jni);
  env.record("GetStringUTFRegion", env.nameOf(string) + " " + std::to_string(start) + " " + std::to_string(count));
  const std::u16string* const contents = textOf(env, string, "GetStringUTFRegion");
  if (contents == nullptr) {
    return;
  }
  if (start < 0 || count < 0 ||
      static_cast<std::int64_t>(start) + count > static_cast<std::int64_t>(contents->size())) {
    env.refuse("java/lang/StringIndexOutOfBoundsException", std::to_string(start) + " + " + std::to_string(count));
    return;
  }
  // HotSpot ends the copied characters with a zero.
  const std::string region =
      toModifiedUtf8(contents->substr(static_cast<std::size_t>(start), static_cast<std::size_t>(count)));
  std::memcpy(out, region.c_str(), region.size() + 1);
}

}  // namespace

void addStringFunctions(JNINativeInterface_& table) {
  table.NewStringUTF = NewStringUTF;
  table.GetStringLength = GetStringLength;
  table.GetStringUTFLength = GetStringUTFLength;
  table.GetStringUTFChars = GetStringUTFChars;
  table.ReleaseStringUTFChars = ReleaseStringUTFChars;
  table.GetStringUTFRegion = GetStringUTFRegion;
}

}  // namespace jvm
