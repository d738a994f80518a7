/// The function table of the recording environment.
#include "env_functions.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>

namespace jvm {
namespace {

[[noreturn]] void notModelled(const char* function) {
  std::fprintf(stderr, "the recording environment does not model the JNI function %s\n", function);
  std::abort();
}

enum class Name : std::size_t {
#define X(name) name,
#include "jni_functions.inc"
#undef X
};

constexpr const char* kNames[] = {
#define X(name) #name,
#include "jni_functions.inc"
#undef X
};

// Stubs of the right type: a sanitizer refuses a call through any other before the stub could tell its name.
template <Name name, typename Result, typename... Arguments>
struct Stub {
  static Result plain(Arguments...) { notModelled(kNames[static_cast<std::size_t>(name)]); }
  static Result variadic(Arguments..., ...) { notModelled(kNames[static_cast<std::size_t>(name)]); }
};

template <Name name, typename Result, typename... Arguments>
void fill(Result (*&entry)(Arguments...)) {
  entry = Stub<name, Result, Arguments...>::plain;
}

template <Name name, typename Result, typename... Arguments>
void fill(Result (*&entry)(Arguments..., ...)) {
  entry = Stub<name, Result, Arguments...>::variadic;
}

}  // namespace

JNINativeInterface_ makeFunctionTable() {
  JNINativeInterface_ table{};
#define X(name) fill<Name::name>(table.name);
#include "jni_functions.inc"
#undef X
  addClassFunctions(table);
  addObjectFunctions(table);
  addArrayFunctions(table);
  addBufferFunctions(table);
  addStringFunctions(table);
  return table;
}

}  // namespace jvm
