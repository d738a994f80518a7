/// Defines `FACTS_FUNCTION`, which reads every name of our header out of the header in namespace `FACTS_NAMESPACE`.
/// Included once by each of the sources that wrap a header, after the header.

#include "facts.h"
#include "names_absent.h"

#include <cstddef>
#include <sstream>
#include <type_traits>
#include <typeinfo>

// Of a structure that extends another one the compilers know the offsets, too.
#pragma GCC diagnostic ignored "-Winvalid-offsetof"

namespace {

template <typename T>
constexpr bool isKnown = !std::is_same_v<std::remove_cv_t<T>, absent::Nothing>;

template <typename T>
void addConstant(Facts& facts, const char* name, T value) {
  if constexpr (isKnown<T>) {
    std::ostringstream text;
    text << "value 0x" << std::hex << static_cast<unsigned long>(value);
    facts[name] = text.str();
  }
}

template <typename T>
void addType(Facts& facts, const char* name) {
  if constexpr (isKnown<T>) {
    std::ostringstream text;
    text << "size " << sizeof(T) << " align " << alignof(T) << " is " << plainTypeName(typeid(T).name());
    facts[name] = text.str();
  }
}

template <typename T>
void addField(Facts& facts, const char* name, std::size_t offset) {
  std::ostringstream text;
  text << "at " << offset << " size " << sizeof(T) << " is " << plainTypeName(typeid(T).name());
  facts[name] = text.str();
}

}  // namespace

// Inside its namespace a header hides the stand-ins, which are looked for one scope further out.
namespace FACTS_NAMESPACE {

using namespace absent;

static Facts collect() {
  Facts facts;
#define CONSTANT(name) addConstant(facts, #name, name);
#define TYPE(name) addType<FACTS_NAMESPACE::name>(facts, #name);
#define FIELD(structure, member)                                                                                       \
  [&facts]<typename S>() {                                                                                             \
    if constexpr (requires { sizeof(S::member); })                                                                     \
      addField<decltype(S::member)>(facts, #structure "." #member, offsetof(S, member));                               \
  }.template operator()<FACTS_NAMESPACE::structure>();
#include "pkcs11_names.inc"
#undef CONSTANT
#undef TYPE
#undef FIELD
  return facts;
}

}  // namespace FACTS_NAMESPACE

Facts FACTS_FUNCTION() {
  return FACTS_NAMESPACE::collect();
}
