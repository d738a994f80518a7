/// Java classes and objects, as far as native code can see them: names, signatures, fields, array contents.
#pragma once

#include <jni.h>

#include <cstdint>
#include <deque>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace jvm {

struct Class;
struct Object;

/// A Java value: a number of a primitive kind (its signature letter), or an object or null (kind 'L').
struct Value {
  char kind = 'L';
  std::int64_t number = 0;
  Object* object = nullptr;
};

/// A field or a method. `assigns` names the fields that a constructor fills from its arguments, in their order.
struct Member {
  const Class* owner;
  std::string name;
  std::string signature;
  bool isStatic;
  std::vector<std::string> assigns;
  bool missing = false;

  bool isField() const { return signature.front() != '('; }
  bool isConstructor() const { return name == "<init>"; }
  char kind() const { return signature.front() == '[' ? 'L' : signature.front(); }
  /// The kinds of a method's parameters, references as 'L'.
  std::string parameterKinds() const;
};

struct Class {
  std::string name;
  const Class* super;
  std::deque<Member> members;
  bool missing = false;

  bool isA(const Class* other) const;
};

using Bytes = std::vector<jbyte>;
using Ints = std::vector<jint>;
using Longs = std::vector<jlong>;
using Chars = std::vector<jchar>;
using Objects = std::vector<Object*>;

struct Object {
  const Class* type;
  std::string name;
  bool named;  ///< by a test; else the name is a generated one
  std::map<std::string, Value> fields;
  std::vector<Value> constructedWith;
  std::variant<std::monostate, Bytes, Ints, Longs, Chars, Objects, std::u16string> contents;
  const Class* denotes = nullptr;  ///< set when the object is a class mirror
};

/// The classes that native code may look up. Any class or member can be declared missing.
class Classes {
public:
  /// Reads lines `class/Path [: super/Class]`, and below each, indented, `[static] name signature [assigned fields]`.
  explicit Classes(const char* contract);

  /// Null when there is no such class; a class declared missing is still found here.
  Class* find(const std::string& name);
  /// The class of this name, made up on the spot as a child of java/lang/Object if the contract lacks it.
  Class& define(const std::string& name);
  /// Looks in the class and its ancestors; constructors are not inherited. Null when there is no such member.
  Member* member(const Class* type, const std::string& name, const std::string& signature, bool isStatic);

private:
  std::map<std::string, Class> classes_;
};

/// The classes that the library relies on.
extern const char* const kContract;

std::u16string fromUtf8(const std::string& bytes);
std::u16string fromModifiedUtf8(const std::string& bytes);
std::string toUtf8(const std::u16string& text);
std::string toModifiedUtf8(const std::u16string& text);

}  // namespace jvm
