#include "methods.h"

#include "velnor_nat_NativeCryptoki.h"
#include "velnor_nat_NativeSession.h"
#include "velnor_nat_NativeSlot.h"

#include <algorithm>
#include <type_traits>
#include <utility>

namespace faults {
namespace {

constexpr char kPackage[] = "Java_velnor_nat_";

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
  jvalue value = {};
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
    return jvalue{};
  } else {
    return pack(native(env, static_cast<Self>(self), unpack<Parameters>(arguments[Index])...));
  }
}

/// Java's name of the method: the first underscore of a symbol's own part is spelled `_1`, an overload begins at `__`.
std::string javaNameOf(const std::string& own) {
  std::string name = own.substr(0, own.find("__"));
  if (const std::size_t escaped = name.find("_1"); escaped != std::string::npos) {
    name.erase(escaped + 1, 1);
  }
  return name;
}

std::string reportNameOf(const std::string& javaName) {
  if (javaName.rfind("J_", 0) == 0) {
    return javaName;
  }
  return javaName.rfind("load", 0) == 0 ? "loadCryptokiLibrary" : "J_" + javaName;
}

template <typename Result, typename Self, typename... Parameters>
Method describe(const char* symbol, Result (*native)(JNIEnv*, Self, Parameters...)) {
  const std::string path = std::string(symbol).substr(sizeof kPackage - 1);
  const std::size_t end = path.find('_');
  const std::string javaName = javaNameOf(path.substr(end + 1));
  return {symbol,
          path.substr(0, end),
          javaName,
          reportNameOf(javaName),
          kindOf<Result>(),
          std::is_same_v<Self, jclass>,
          {kindOf<Parameters>()...},
          [native](JNIEnv* env, jobject self, const std::vector<jvalue>& arguments) {
            return callWith(native, env, self, arguments, std::index_sequence_for<Parameters...>());
          }};
}

}  // namespace

bool Method::takes(Kind kind) const {
  return std::find(parameters.begin(), parameters.end(), kind) != parameters.end();
}

std::string Method::label() const {
  return symbol.substr(sizeof kPackage - 1);
}

const std::vector<Method>& allMethods() {
  static const std::vector<Method> methods = {
#define X(symbol) describe(#symbol, symbol),
#include "natives.inc"
#undef X
  };
  return methods;
}

}  // namespace faults
