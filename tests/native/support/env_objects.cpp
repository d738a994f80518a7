#include "env_functions.h"

#include <cstdarg>
#include <gtest/gtest.h>

namespace jvm {
namespace {

// A long read as an int gives its low 32 bits and an int read as a byte its low byte, as HotSpot does. Every other
// mixture of kinds reads memory that belongs to something else.
bool mayRead(char kind, char as) {
  return kind == as || (kind == 'J' && as == 'I') || (kind == 'I' && as == 'B');
}

Value readField(JNIEnv* jni, const char* function, jobject reference, jfieldID id, char as) {
  RecordingEnv& env = self(jni);
  const auto* const member = reinterpret_cast<const Member*>(id);
  const Value none{as, 0, nullptr};
  if (member == nullptr) {
    env.record(function, env.nameOf(reference) + " null");
    ADD_FAILURE() << function << " with a null field would kill a JVM";
    return none;
  }
  if (env.enter(function, env.nameOf(reference) + " " + member->name)) {
    return none;
  }
  const Object* const object = env.require(reference, function);
  if (object == nullptr) {
    return none;
  }
  if (!member->isField() || !object->type->isA(member->owner)) {
    ADD_FAILURE() << function << ": " << member->owner->name << "." << member->name << " is no field of "
                  << object->type->name;
    return none;
  }
  if (!mayRead(member->kind(), as)) {
    ADD_FAILURE() << function << " on " << member->name << ", which is of type " << member->signature;
    return none;
  }
  const auto found = object->fields.find(member->name);
  return found == object->fields.end() ? none : found->second;
}

template <typename T, char Kind>
T getNumber(JNIEnv* jni, const char* function, jobject object, jfieldID field) {
  return static_cast<T>(readField(jni, function, object, field, Kind).number);
}

jobject GetObjectField(JNIEnv* jni, jobject object, jfieldID field) {
  return self(jni).newLocal(readField(jni, "GetObjectField", object, field, 'L').object);
}

jobject GetStaticObjectField(JNIEnv* jni, jclass type, jfieldID field) {
  RecordingEnv& env = self(jni);
  const auto* const member = reinterpret_cast<const Member*>(field);
  if (env.enter("GetStaticObjectField", env.nameOf(type) + " " + (member == nullptr ? "null" : member->name))) {
    return nullptr;
  }
  if (member == nullptr || !member->isStatic) {
    ADD_FAILURE() << "GetStaticObjectField without a static field";
    return nullptr;
  }
  Object* const holder = env.mirror(member->owner);
  Value& value = holder->fields[member->name];
  if (value.object == nullptr) {
    const std::string path = member->signature.substr(1, member->signature.size() - 2);
    value.object = env.create(&env.classes.define(path), member->owner->name + "." + member->name);
  }
  return env.newLocal(value.object);
}

// --- Arguments -------------------------------------------------------------------------------------------------------

Value fromJava(RecordingEnv& env, char kind, const jvalue& argument) {
  switch (kind) {
  case 'Z':
    return {kind, argument.z, nullptr};
  case 'B':
    return {kind, argument.b, nullptr};
  case 'C':
    return {kind, argument.c, nullptr};
  case 'S':
    return {kind, argument.s, nullptr};
  case 'I':
    return {kind, argument.i, nullptr};
  case 'J':
    return {kind, argument.j, nullptr};
  default:
    return {'L', 0, env.target(argument.l)};
  }
}

std::vector<Value> arguments(RecordingEnv& env, const Member* method, const jvalue* values) {
  std::vector<Value> result;
  for (const char kind : method->parameterKinds()) {
    result.push_back(fromJava(env, kind, *values++));
  }
  return result;
}

std::vector<Value> arguments(RecordingEnv& env, const Member* method, va_list list) {
  std::vector<Value> result;
  for (const char kind : method->parameterKinds()) {
    jvalue value{};
    if (kind == 'L') {
      value.l = va_arg(list, jobject);
    } else if (kind == 'J') {
      value.j = va_arg(list, jlong);
    } else if (const int number = va_arg(list, int); kind == 'Z') {
      value.z = static_cast<jboolean>(number);
    } else if (kind == 'B') {
      value.b = static_cast<jbyte>(number);
    } else if (kind == 'C') {
      value.c = static_cast<jchar>(number);
    } else if (kind == 'S') {
      value.s = static_cast<jshort>(number);
    } else {
      value.i = number;
    }
    result.push_back(fromJava(env, kind, value));
  }
  return result;
}

std::string listed(const RecordingEnv& env, const std::vector<Value>& values) {
  std::string result;
  for (const Value& value : values) {
    result += (result.empty() ? "" : ", ") + env.brief(value);
  }
  return "(" + result + ")";
}

// --- Constructors ----------------------------------------------------------------------------------------------------

void construct(RecordingEnv& env, Object* object, const Member* constructor, const std::vector<Value>& values) {
  if (object->type->name == "java/lang/String") {
    const Object* const bytes = values.front().object;
    const auto* const contents = bytes == nullptr ? nullptr : std::get_if<Bytes>(&bytes->contents);
    if (contents == nullptr) {
      ADD_FAILURE() << "a String made of " << env.full(bytes);
      return;
    }
    object->contents = fromUtf8(std::string(contents->begin(), contents->end()));
    return;
  }
  object->constructedWith = values;
  for (std::size_t i = 0; i < constructor->assigns.size(); ++i) {
    if (constructor->assigns[i] != "-") {
      object->fields[constructor->assigns[i]] = values[i];
    }
  }
}

template <typename Arguments>
jobject newObject(JNIEnv* jni, jclass type, jmethodID id, Arguments list) {
  RecordingEnv& env = self(jni);
  const auto* const constructor = reinterpret_cast<const Member*>(id);
  if (constructor == nullptr || !constructor->isConstructor()) {
    ADD_FAILURE() << "NewObject " << env.nameOf(type) << " without a constructor";
    return nullptr;
  }
  const std::vector<Value> values = arguments(env, constructor, list);
  if (env.enter("NewObject", env.nameOf(type) + " " + listed(env, values))) {
    return nullptr;
  }
  const Object* const mirror = env.require(type, "NewObject");
  if (mirror == nullptr || mirror->denotes != constructor->owner) {
    ADD_FAILURE() << "NewObject " << env.nameOf(type) << " with the constructor of " << constructor->owner->name;
    return nullptr;
  }
  Object* const object = env.create(constructor->owner);
  construct(env, object, constructor, values);
  return env.newLocal(object);
}

jobject NewObjectV(JNIEnv* jni, jclass type, jmethodID id, va_list list) {
  return newObject(jni, type, id, list);
}

jobject NewObjectA(JNIEnv* jni, jclass type, jmethodID id, const jvalue* list) {
  return newObject(jni, type, id, list);
}

// --- Method calls ----------------------------------------------------------------------------------------------------

/// The one value that the modelled methods can answer with: what an Integer or a Boolean was built from.
template <typename Arguments>
std::int64_t call(JNIEnv* jni, const char* function, jobject reference, jmethodID id, char result, Arguments list) {
  RecordingEnv& env = self(jni);
  const auto* const method = reinterpret_cast<const Member*>(id);
  if (method == nullptr || method->isField() || method->isConstructor()) {
    ADD_FAILURE() << function << " on " << env.nameOf(reference) << " without a method";
    return 0;
  }
  const std::vector<Value> values = arguments(env, method, list);
  if (env.enter(function,
                env.nameOf(reference) + " " + method->name + (values.empty() ? "" : " " + listed(env, values)))) {
    return 0;
  }
  const Object* const object = env.require(reference, function);
  if (object == nullptr) {
    return 0;
  }
  if (!object->type->isA(method->owner)) {
    ADD_FAILURE() << function << ": " << method->name << " is a method of " << method->owner->name << ", not of "
                  << object->type->name;
    return 0;
  }
  if (method->signature.back() != result) {
    ADD_FAILURE() << function << " on " << method->name << " " << method->signature;
    return 0;
  }
  return object->constructedWith.empty() ? 0 : object->constructedWith.front().number;
}

jint CallIntMethodV(JNIEnv* jni, jobject object, jmethodID id, va_list list) {
  return static_cast<jint>(call(jni, "CallIntMethod", object, id, 'I', list));
}

jint CallIntMethodA(JNIEnv* jni, jobject object, jmethodID id, const jvalue* list) {
  return static_cast<jint>(call(jni, "CallIntMethod", object, id, 'I', list));
}

jboolean CallBooleanMethodV(JNIEnv* jni, jobject object, jmethodID id, va_list list) {
  return static_cast<jboolean>(call(jni, "CallBooleanMethod", object, id, 'Z', list));
}

jboolean CallBooleanMethodA(JNIEnv* jni, jobject object, jmethodID id, const jvalue* list) {
  return static_cast<jboolean>(call(jni, "CallBooleanMethod", object, id, 'Z', list));
}

void CallVoidMethodV(JNIEnv* jni, jobject object, jmethodID id, va_list list) {
  call(jni, "CallVoidMethod", object, id, 'V', list);
}

void CallVoidMethodA(JNIEnv* jni, jobject object, jmethodID id, const jvalue* list) {
  call(jni, "CallVoidMethod", object, id, 'V', list);
}

}  // namespace

void addObjectFunctions(JNINativeInterface_& table) {
  table.GetObjectField = GetObjectField;
  table.GetStaticObjectField = GetStaticObjectField;
  table.GetBooleanField = [](JNIEnv* jni, jobject object, jfieldID field) {
    return getNumber<jboolean, 'Z'>(jni, "GetBooleanField", object, field);
  };
  table.GetByteField = [](JNIEnv* jni, jobject object, jfieldID field) {
    return getNumber<jbyte, 'B'>(jni, "GetByteField", object, field);
  };
  table.GetIntField = [](JNIEnv* jni, jobject object, jfieldID field) {
    return getNumber<jint, 'I'>(jni, "GetIntField", object, field);
  };
  table.GetLongField = [](JNIEnv* jni, jobject object, jfieldID field) {
    return getNumber<jlong, 'J'>(jni, "GetLongField", object, field);
  };
  table.NewObjectV = NewObjectV;
  table.NewObjectA = NewObjectA;
  table.CallIntMethodV = CallIntMethodV;
  table.CallIntMethodA = CallIntMethodA;
  table.CallBooleanMethodV = CallBooleanMethodV;
  table.CallBooleanMethodA = CallBooleanMethodA;
  table.CallVoidMethodV = CallVoidMethodV;
  table.CallVoidMethodA = CallVoidMethodA;
}

}  // namespace jvm
