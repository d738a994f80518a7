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

/// Where a step keeps the field it looked up and the value it read. The Java parameter itself is slot 0.
using Slot = std::uint8_t;
inline constexpr Slot Parameter = 0;
inline constexpr std::size_t kSlots = 16;

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
    CallBooleanValue,  ///< looks up booleanValue in that class and calls it on the object that the slot holds
  };
  Action action;
  Slot slot;
  Slot owner;  ///< the object that holds the field
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
constexpr Step findField(Slot slot, const char* name, const char* signature, Failure missing) {
  return {Step::Action::FindField, slot, Parameter, name, signature, missing};
}
constexpr Step readObject(Slot slot, Failure null, Slot owner = Parameter) {
  return {Step::Action::ReadObject, slot, owner, nullptr, nullptr, null};
}
constexpr Step readNullable(Slot slot, Slot owner = Parameter) {
  return {Step::Action::ReadNullable, slot, owner, nullptr, nullptr, {}};
}
constexpr Step readInt(Slot slot, Slot owner = Parameter) {
  return {Step::Action::ReadInt, slot, owner, nullptr, nullptr, {}};
}
constexpr Step readByte(Slot slot, Slot owner = Parameter) {
  return {Step::Action::ReadByte, slot, owner, nullptr, nullptr, {}};
}
constexpr Step callBooleanValue(Slot slot, Failure missing) {
  return {Step::Action::CallBooleanValue, slot, Parameter, "booleanValue", "()Z", missing};
}

/// A structure of the parameter: the one that the mechanism points to, or one that this points to.
enum class Block : std::uint8_t { Main, Inner };

/// What goes to one place of a structure.
struct Cell {
  enum class Content : std::uint8_t {
    Number,         ///< the slot's int, widened, as a CK_ULONG
    Byte,           ///< the low byte of the slot's int
    InlineIv,       ///< 8 bytes of the slot's byte[] in place, whatever its length
    Iv,             ///< a pointer to 8 bytes of the slot's byte[]; null for a null array
    WideIv,         ///< a pointer to 8 chars of the slot's char[]; null for a null array
    Bytes,          ///< a pointer to as many bytes of the slot's byte[] as `measured` has, and that length
    UnfilledBytes,  ///< the same without copying anything: a zeroed buffer of that length
    Chars,          ///< a pointer to the chars of the slot's char[] as 16-bit units, and their number as the length
  };
  Content content;
  Slot slot;
  std::size_t offset;
  Block block = Block::Main;
  std::size_t lengthOffset = 0;
  Slot measured = Parameter;  ///< the array whose length is used
};

constexpr Cell number(Slot slot, std::size_t offset, Block block = Block::Main) {
  return {Cell::Content::Number, slot, offset, block};
}
constexpr Cell byte(Slot slot, std::size_t offset, Block block = Block::Main) {
  return {Cell::Content::Byte, slot, offset, block};
}
constexpr Cell inlineIv(Slot slot, std::size_t offset) {
  return {Cell::Content::InlineIv, slot, offset};
}
constexpr Cell iv(Slot slot, std::size_t offset, Block block) {
  return {Cell::Content::Iv, slot, offset, block};
}
constexpr Cell wideIv(Slot slot, std::size_t offset) {
  return {Cell::Content::WideIv, slot, offset};
}
constexpr Cell bytes(Slot slot, std::size_t offset, std::size_t lengthOffset) {
  return {Cell::Content::Bytes, slot, offset, Block::Main, lengthOffset, slot};
}
constexpr Cell bytesMeasuredBy(Slot measured, Slot slot, std::size_t offset, std::size_t lengthOffset) {
  return {Cell::Content::Bytes, slot, offset, Block::Main, lengthOffset, measured};
}
constexpr Cell unfilledBytes(Slot slot, std::size_t offset, std::size_t lengthOffset) {
  return {Cell::Content::UnfilledBytes, slot, offset, Block::Main, lengthOffset, slot};
}
constexpr Cell chars(Slot slot, std::size_t offset, std::size_t lengthOffset) {
  return {Cell::Content::Chars, slot, offset, Block::Main, lengthOffset, slot};
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
  std::span<const Pointer> freed = {};  ///< in this order
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
