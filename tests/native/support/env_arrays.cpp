#include "../module/text.h"
#include "env_functions.h"

#include <cstring>
#include <gtest/gtest.h>

namespace jvm {
namespace {

/// What the table's functions for one element type need to know: the names, and the form of shown contents.
template <typename T>
struct Element;

template <>
struct Element<jbyte> {
  static constexpr const char* arrayClass = "[B";
  static constexpr const char* make = "NewByteArray";
  static constexpr const char* lend = "GetByteArrayElements";
  static constexpr const char* takeBack = "ReleaseByteArrayElements";
  static constexpr const char* read = "GetByteArrayRegion";
  static constexpr const char* write = "SetByteArrayRegion";
  static std::string show(const jbyte* elements, std::size_t count) { return text::bytes(elements, count); }
};

template <typename T>
std::string numbers(const T* elements, std::size_t count) {
  std::string result;
  for (std::size_t i = 0; i < count; ++i) {
    result += (i == 0 ? "" : ", ") + std::to_string(elements[i]);
  }
  return "[" + result + "]";
}

template <>
struct Element<jint> {
  static constexpr const char* arrayClass = "[I";
  static constexpr const char* make = "NewIntArray";
  static constexpr const char* lend = "GetIntArrayElements";
  static constexpr const char* takeBack = "ReleaseIntArrayElements";
  static constexpr const char* read = "GetIntArrayRegion";
  static constexpr const char* write = "SetIntArrayRegion";
  static std::string show(const jint* elements, std::size_t count) { return numbers(elements, count); }
};

template <>
struct Element<jlong> {
  static constexpr const char* arrayClass = "[J";
  static constexpr const char* make = "NewLongArray";
  static constexpr const char* lend = "GetLongArrayElements";
  static constexpr const char* takeBack = "ReleaseLongArrayElements";
  static constexpr const char* read = "GetLongArrayRegion";
  static constexpr const char* write = "SetLongArrayRegion";
  static std::string show(const jlong* elements, std::size_t count) { return numbers(elements, count); }
};

template <>
struct Element<jchar> {
  static constexpr const char* read = "GetCharArrayRegion";
};

template <typename T>
std::vector<T>* contentsOf(RecordingEnv& env, jobject array, const char* function) {
  Object* const object = env.require(array, function);
  auto* const contents = object == nullptr ? nullptr : std::get_if<std::vector<T>>(&object->contents);
  if (object != nullptr && contents == nullptr) {
    ADD_FAILURE() << function << " on " << object->name << ", which is a " << object->type->name;
  }
  return contents;
}

bool refusesLength(RecordingEnv& env, jsize length) {
  if (length < 0) {
    env.refuse("java/lang/NegativeArraySizeException", std::to_string(length));
  }
  return length < 0;
}

template <typename T, typename Array>
Array newArray(JNIEnv* jni, jsize length) {
  RecordingEnv& env = self(jni);
  if (env.enter(Element<T>::make, std::to_string(length)) || refusesLength(env, length)) {
    return nullptr;
  }
  Object* const object = env.create(&env.classes.define(Element<T>::arrayClass));
  object->contents = std::vector<T>(static_cast<std::size_t>(length));
  return static_cast<Array>(env.newLocal(object));
}

template <typename T, typename Array>
T* lend(JNIEnv* jni, Array array, jboolean* isCopy) {
  RecordingEnv& env = self(jni);
  if (env.enter(Element<T>::lend, env.nameOf(array))) {
    return nullptr;
  }
  const std::vector<T>* const contents = contentsOf<T>(env, array, Element<T>::lend);
  if (contents == nullptr) {
    return nullptr;
  }
  if (isCopy != nullptr) {
    *isCopy = JNI_TRUE;
  }
  return static_cast<T*>(env.loans.lend(env.target(array), "elements", contents->data(), contents->size() * sizeof(T)));
}

template <typename T, typename Array>
void takeBack(JNIEnv* jni, Array array, T* elements, jint mode) {
  RecordingEnv& env = self(jni);
  env.record(Element<T>::takeBack,
             env.nameOf(array) + (elements == nullptr ? " elements=null" : "") + " mode " + std::to_string(mode));
  Object* const object = env.target(array);
  env.loans.takeBack(object, "elements", elements, mode, [object](const void* bytes, std::size_t size) {
    auto& contents = std::get<std::vector<T>>(object->contents);
    if (size > 0) {
      std::memcpy(contents.data(), bytes, size);
    }
  });
}

bool inside(RecordingEnv& env, jsize start, jsize count, std::size_t size) {
  if (start >= 0 && count >= 0 && static_cast<std::int64_t>(start) + count <= static_cast<std::int64_t>(size)) {
    return true;
  }
  env.refuse("java/lang/ArrayIndexOutOfBoundsException",
             std::to_string(start) + " + " + std::to_string(count) + " of " + std::to_string(size));
  return false;
}

std::string regionOf(RecordingEnv& env, jobject array, jsize start, jsize count) {
  return env.nameOf(array) + " " + std::to_string(start) + " " + std::to_string(count);
}

template <typename T, typename Array>
void readRegion(JNIEnv* jni, Array array, jsize start, jsize count, T* out) {
  RecordingEnv& env = self(jni);
  env.record(Element<T>::read, regionOf(env, array, start, count));
  const std::vector<T>* const contents = contentsOf<T>(env, array, Element<T>::read);
  if (contents != nullptr && inside(env, start, count, contents->size()) && count > 0) {
    std::memcpy(out, contents->data() + start, static_cast<std::size_t>(count) * sizeof(T));
  }
}

template <typename T, typename Array>
void writeRegion(JNIEnv* jni, Array array, jsize start, jsize count, const T* in) {
  RecordingEnv& env = self(jni);
  std::vector<T>* const contents = contentsOf<T>(env, array, Element<T>::write);
  // Only what fits is looked at: a JVM does not read the source of a region that it refuses.
  const bool fits = contents != nullptr && start >= 0 && count >= 0 &&
                    static_cast<std::int64_t>(start) + count <= static_cast<std::int64_t>(contents->size());
  env.record(Element<T>::write, regionOf(env, array, start, count) +
                                    (fits ? " " + Element<T>::show(in, static_cast<std::size_t>(count)) : ""));
  if (contents != nullptr && inside(env, start, count, contents->size()) && count > 0) {
    std::memcpy(contents->data() + start, in, static_cast<std::size_t>(count) * sizeof(T));
  }
}

jsize GetArrayLength(JNIEnv* jni, jarray array) {
  RecordingEnv& env = self(jni);
  if (env.enter("GetArrayLength", env.nameOf(array))) {
    return 0;
  }
  const Object* const object = env.require(array, "GetArrayLength");
  if (object == nullptr) {
    return 0;
  }
  return std::visit(
      [object](const auto& contents) -> jsize {
        using Contents = std::decay_t<decltype(contents)>;
        if constexpr (std::is_same_v<Contents, std::monostate> || std::is_same_v<Contents, std::u16string>) {
          ADD_FAILURE() << "GetArrayLength on " << object->name << ", which is a " << object->type->name;
          return 0;
        } else {
          return static_cast<jsize>(contents.size());
        }
      },
      object->contents);
}

jobjectArray NewObjectArray(JNIEnv* jni, jsize length, jclass type, jobject initial) {
  RecordingEnv& env = self(jni);
  if (env.enter("NewObjectArray", std::to_string(length) + " " + env.nameOf(type) + " " + env.nameOf(initial)) ||
      refusesLength(env, length)) {
    return nullptr;
  }
  const Object* const mirror = env.require(type, "NewObjectArray");
  if (mirror == nullptr || mirror->denotes == nullptr) {
    return nullptr;
  }
  Object* const object = env.create(&env.classes.define("[L" + mirror->denotes->name + ";"));
  object->contents = Objects(static_cast<std::size_t>(length), env.target(initial));
  return static_cast<jobjectArray>(env.newLocal(object));
}

std::string elementOf(RecordingEnv& env, jobject array, jsize index) {
  return env.nameOf(array) + " " + std::to_string(index);
}

jobject GetObjectArrayElement(JNIEnv* jni, jobjectArray array, jsize index) {
  RecordingEnv& env = self(jni);
  if (env.enter("GetObjectArrayElement", elementOf(env, array, index))) {
    return nullptr;
  }
  const Objects* const contents = contentsOf<Object*>(env, array, "GetObjectArrayElement");
  if (contents == nullptr || !inside(env, index, 1, contents->size())) {
    return nullptr;
  }
  return env.newLocal((*contents)[static_cast<std::size_t>(index)]);
}

void SetObjectArrayElement(JNIEnv* jni, jobjectArray array, jsize index, jobject value) {
  RecordingEnv& env = self(jni);
  env.record("SetObjectArrayElement", elementOf(env, array, index) + " " + env.nameOf(value));
  Objects* const contents = contentsOf<Object*>(env, array, "SetObjectArrayElement");
  if (contents != nullptr && inside(env, index, 1, contents->size())) {
    (*contents)[static_cast<std::size_t>(index)] = env.target(value);
  }
}

}  // namespace

void addArrayFunctions(JNINativeInterface_& table) {
  table.GetArrayLength = GetArrayLength;
  table.NewObjectArray = NewObjectArray;
  table.GetObjectArrayElement = GetObjectArrayElement;
  table.SetObjectArrayElement = SetObjectArrayElement;
  table.NewByteArray = newArray<jbyte, jbyteArray>;
  table.NewIntArray = newArray<jint, jintArray>;
  table.NewLongArray = newArray<jlong, jlongArray>;
  table.GetByteArrayElements = lend<jbyte, jbyteArray>;
  table.GetIntArrayElements = lend<jint, jintArray>;
  table.GetLongArrayElements = lend<jlong, jlongArray>;
  table.ReleaseByteArrayElements = takeBack<jbyte, jbyteArray>;
  table.ReleaseIntArrayElements = takeBack<jint, jintArray>;
  table.ReleaseLongArrayElements = takeBack<jlong, jlongArray>;
  table.GetByteArrayRegion = readRegion<jbyte, jbyteArray>;
  table.GetIntArrayRegion = readRegion<jint, jintArray>;
  table.GetLongArrayRegion = readRegion<jlong, jlongArray>;
  table.GetCharArrayRegion = readRegion<jchar, jcharArray>;
  table.SetByteArrayRegion = writeRegion<jbyte, jbyteArray>;
  table.SetIntArrayRegion = writeRegion<jint, jintArray>;
  table.SetLongArrayRegion = writeRegion<jlong, jlongArray>;
}

}  // namespace jvm
