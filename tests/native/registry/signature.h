/// The signature of a native method as data, and a way to call it with any arguments of those kinds.
#pragma once

#include "methods.h"

#include <type_traits>
#include <utility>

namespace registry {

template <typename T>
constexpr Kind kindOf() {
  if constexpr (std::is_void_v<T>) {
    return Kind::Void;
  } else if constexpr (std::is_same_v<T, jboolean>) {
    return Kind::Boolean;
  } else if constexpr (std::is_same_v<T, jbyte>) {
    return Kind::Byte;
  } else if constexpr (std::is_same_v<T, jint>) {
    return Kind::Int;
  } else if constexpr (std::is_same_v<T, jlong>) {
    return Kind::Long;
  } else if constexpr (std::is_same_v<T, jobject>) {
    return Kind::Object;
  } else if constexpr (std::is_same_v<T, jclass>) {
    return Kind::Class;
  } else if constexpr (std::is_same_v<T, jstring>) {
    return Kind::String;
  } else if constexpr (std::is_same_v<T, jbyteArray>) {
    return Kind::ByteArray;
  } else if constexpr (std::is_same_v<T, jintArray>) {
    return Kind::IntArray;
  } else if constexpr (std::is_same_v<T, jlongArray>) {
    return Kind::LongArray;
  } else if constexpr (std::is_same_v<T, jobjectArray>) {
    return Kind::ObjectArray;
  } else {
    static_assert(!std::is_same_v<T, T>,
                  "a native method with a parameter of a kind that no test can make an argument of");
  }
}

template <typename T>
T unpack(const jvalue& value) {
  if constexpr (std::is_pointer_v<T>) {
    return static_cast<T>(value.l);
  } else if constexpr (std::is_same_v<T, jboolean>) {
    return value.z;
  } else if constexpr (std::is_same_v<T, jbyte>) {
    return value.b;
  } else if constexpr (std::is_same_v<T, jint>) {
    return value.i;
  } else {
    return value.j;
  }
}

template <typename T>
jvalue pack(T result) {
  jvalue value = {.j = 0};
  if constexpr (std::is_pointer_v<T>) {
    value.l = result;
  } else {
    value.j = result;
  }
  return value;
}

template <typename Result, typename Self, typename... Parameters, std::size_t... Index>
jvalue callWith(Result (*native)(JNIEnv*, Self, Parameters...), JNIEnv* env, jobject self,
                [[maybe_unused]] const std::vector<jvalue>& arguments, std::index_sequence<Index...> /*indices*/) {
  if constexpr (std::is_void_v<Result>) {
    native(env, static_cast<Self>(self), unpack<Parameters>(arguments[Index])...);
    return jvalue{.j = 0};  // all of it: {} clears the smallest member alone
  } else {
    return pack(native(env, static_cast<Self>(self), unpack<Parameters>(arguments[Index])...));
  }
}

template <typename Result, typename Self, typename... Parameters>
Signature signatureOf(Result (*native)(JNIEnv*, Self, Parameters...)) {
  return {kindOf<Result>(),
          std::is_same_v<Self, jclass>,
          {kindOf<Parameters>()...},
          [native](JNIEnv* env, jobject self, const std::vector<jvalue>& arguments) {
            return callWith(native, env, self, arguments, std::index_sequence_for<Parameters...>());
          }};
}

}  // namespace registry
