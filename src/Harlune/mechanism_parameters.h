/// The tables by which one walker converts and frees every mechanism parameter: which Java class it comes from, in
/// which order its fields are looked up, read and tested and with which texts, and what goes where in the PKCS#11
/// structure.
#pragma once

#include "harlune.h"

#include <span>

/// A failure of a step. With `reported` set it is told twice: the short text is thrown to Java at once, then the long
/// one is raised and replaces it. Callers that watch thrown exceptions rely on both.
struct Failure {
  const char* raised;
  const char* reported = nullptr;
};

/// Where a step keeps the field it looked up and the value it read. The Java parameter itself is in the first.
using Register = std::uint8_t;
inline constexpr Register Parameter = 0;
inline constexpr std::size_t kRegisters = 16;

/// Initialisation vectors that a mechanism takes as they are have the block size of the older ciphers.
inline constexpr jsize kIvLength = 8;

struct Step {
  enum class Action : std::uint8_t {
    FindClass,         ///< makes `name` the class that the next steps refer to
    RequireInstance,   ///< the parameter must be of that class
    FindField,         ///< looks up `name` of `signature` in that class
    ReadObject,        ///< reads the field; null fails
    ReadNullable,      ///< reads the field; null is fine
    ReadInt,           ///< reads the field with the int accessor
    ReadByte,          ///< reads the field with the byte accessor, whatever its signature
    CallBooleanValue,  ///< looks up booleanValue in that class and calls it on the object that the register holds
  };
  Action action;
  Register place;
  Register owner;  ///< the object that holds the field
  const char* name;
  const char* signature;
  Failure failure;
};

constexpr Step findClass(const char* path, Failure missing) {
  return {Step::Action::FindClass, Parameter, Parameter, path, nullptr, missing};
}
constexpr Step requireInstance(Failure otherwise) {
  return {Step::Action::RequireInstance, Parameter, Parameter, nullptr, nullptr, otherwise};
}
constexpr Step findField(Register place, const char* name, const char* signature, Failure missing) {
  return {Step::Action::FindField, place, Parameter, name, signature, missing};
}
constexpr Step readObject(Register place, Failure null, Register owner = Parameter) {
  return {Step::Action::ReadObject, place, owner, nullptr, nullptr, null};
}
constexpr Step readNullable(Register place, Register owner = Parameter) {
  return {Step::Action::ReadNullable, place, owner, nullptr, nullptr, {}};
}
constexpr Step readInt(Register place, Register owner = Parameter) {
  return {Step::Action::ReadInt, place, owner, nullptr, nullptr, {}};
}
constexpr Step readByte(Register place, Register owner = Parameter) {
  return {Step::Action::ReadByte, place, owner, nullptr, nullptr, {}};
}
constexpr Step callBooleanValue(Register place, Failure missing) {
  return {Step::Action::CallBooleanValue, place, Parameter, "booleanValue", "()Z", missing};
}

/// A structure of the parameter: the one that the mechanism points to, or one that this points to.
enum class Block : std::uint8_t { Main, Inner };

/// What goes to one place of a structure.
struct Cell {
  enum class Content : std::uint8_t {
    Number,         ///< the register's int, widened, as a CK_ULONG
    Byte,           ///< the low byte of the register's int
    InlineIv,       ///< 8 bytes of the register's byte[] in place, whatever its length
    Iv,             ///< a pointer to 8 bytes of the register's byte[]; null for a null array
    WideIv,         ///< a pointer to 8 chars of the register's char[]; null for a null array
    Bytes,          ///< a pointer to as many bytes of the register's byte[] as `measured` has, and that length
    UnfilledBytes,  ///< the same without copying anything: a zeroed buffer of that length
    Chars,          ///< a pointer to the chars of the register's char[] as 16-bit units, and their number as the length
  };
  Content content;
  Register place;
  std::size_t offset;
  Block block = Block::Main;
  std::size_t lengthOffset = 0;
  Register measured = Parameter;  ///< the array whose length is used
};

constexpr Cell number(Register place, std::size_t offset, Block block = Block::Main) {
  return {Cell::Content::Number, place, offset, block};
}
constexpr Cell byte(Register place, std::size_t offset, Block block = Block::Main) {
  return {Cell::Content::Byte, place, offset, block};
}
constexpr Cell inlineIv(Register place, std::size_t offset) {
  return {Cell::Content::InlineIv, place, offset};
}
constexpr Cell iv(Register place, std::size_t offset, Block block) {
  return {Cell::Content::Iv, place, offset, block};
}
constexpr Cell wideIv(Register place, std::size_t offset) {
  return {Cell::Content::WideIv, place, offset};
}
constexpr Cell bytes(Register place, std::size_t offset, std::size_t lengthOffset) {
  return {Cell::Content::Bytes, place, offset, Block::Main, lengthOffset, place};
}
constexpr Cell bytesMeasuredBy(Register measured, Register place, std::size_t offset, std::size_t lengthOffset) {
  return {Cell::Content::Bytes, place, offset, Block::Main, lengthOffset, measured};
}
constexpr Cell unfilledBytes(Register place, std::size_t offset, std::size_t lengthOffset) {
  return {Cell::Content::UnfilledBytes, place, offset, Block::Main, lengthOffset, place};
}
constexpr Cell chars(Register place, std::size_t offset, std::size_t lengthOffset) {
  return {Cell::Content::Chars, place, offset, Block::Main, lengthOffset, place};
}

constexpr bool isPointer(const Cell& cell) {
  return cell.content >= Cell::Content::Iv;
}

/// The place of a pointer whose block is to be freed.
struct Pointer {
  std::size_t offset;
  Block block = Block::Main;
};

/// The second structure of a parameter, if it has one.
struct Inner {
  std::size_t size = 0;
  std::size_t pointerOffset = 0;
};

/// Everything there is to know of one kind of parameter.
struct ParameterKind {
  CK_ULONG size;
  std::span<const Step> steps;
  std::span<const Cell> cells;
  /// Every pointer, where they are freed in another order than that of the cells with the second structure behind them.
  std::span<const Pointer> freed = {};
  Inner inner = {};
  bool deletesClass = false;  ///< the reference of the parameter's class is dropped after use
  Failure missing = {"Mechanism2CKMechanism - parameter value is NULL"};
};

/// A mechanism of mechanisms.txt whose parameter is converted.
struct MechanismRow {
  CK_MECHANISM_TYPE mechanism;
  const ParameterKind* kind;
};

extern const ParameterKind kIvParameter;
extern const ParameterKind kMacGeneralParameter;
extern const ParameterKind kRc2Parameter;
extern const ParameterKind kRc2CbcParameter;
extern const ParameterKind kRc2MacGeneralParameter;
extern const ParameterKind kRc5Parameter;
extern const ParameterKind kRc5CbcParameter;
extern const ParameterKind kRc5MacGeneralParameter;
extern const ParameterKind kOaepParameter;
extern const ParameterKind kKeyWrapSetOaepParameter;
extern const ParameterKind kPbeParameter;
extern const ParameterKind kKeyDerivationStringParameter;
extern const ParameterKind kExtractParameter;
extern const ParameterKind kSsl3MasterKeyDeriveParameter;
extern const ParameterKind kSsl3KeyMatParameter;
extern const ParameterKind kSkipjackPrivateWrapParameter;
extern const ParameterKind kSkipjackRelayxParameter;
extern const ParameterKind kKeaDeriveParameter;

/// The kind of a mechanism's parameter, or null when the mechanism takes none from Java.
const ParameterKind* findParameterKind(CK_MECHANISM_TYPE mechanism);

/// The texts of the conversion carry its name.
#define CONVERSION(text) "Mechanism2CKMechanism - " text

/// Steps with the texts that most have. A step that is written out says something else.
#define CLASS(path) findClass(path, {CONVERSION("Class '" path "' not found")})
#define FIELD(place, name, signature) findField(place, name, signature, {CONVERSION(name " field not found")})
#define OBJECT(place) readObject(place, {CONVERSION("j" #place " is NULL")})
