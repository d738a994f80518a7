/// What becomes of every mechanism's parameter, written down apart from the library's own tables and in another form:
/// the calls as the journal shows them, and the structures by the offsets that modules were compiled with.
#pragma once

#include "native_test.h"

#include <cstdint>
#include <string>
#include <vector>

/// What must lie at an offset of a structure.
struct Cell {
  enum class Kind { Number, Bytes, Pointer, Null, Block };
  std::size_t offset;
  Kind kind;
  std::uint64_t number = 0;
  std::string bytes = {};
  std::vector<Cell> cells = {};
};

inline Cell number(std::size_t offset, std::uint64_t value) {
  return {offset, Cell::Kind::Number, value};
}
inline Cell bytes(std::size_t offset, const std::string& contents) {
  return {offset, Cell::Kind::Bytes, 0, contents};
}
/// A pointer to these bytes.
inline Cell pointer(std::size_t offset, const std::string& contents) {
  return {offset, Cell::Kind::Pointer, 0, contents};
}
inline Cell null(std::size_t offset) {
  return {offset, Cell::Kind::Null};
}
/// A pointer to another structure.
inline Cell block(std::size_t offset, std::size_t size, const std::vector<Cell>& cells) {
  return {offset, Cell::Kind::Block, size, {}, cells};
}

struct ParameterKind {
  const char* name;
  std::vector<CK_MECHANISM_TYPE> codes;
  /// A complete parameter, called "parameter".
  jobject (*make)(jvm::RecordingEnv& env);
  /// What follows the frame, a call a line. Below a call that may fail: `else` the raised text, and `reporting` the
  /// short text that is thrown before.
  const char* script;
  CK_ULONG size;
  std::vector<Cell> layout;
  /// The pointers in the order of freeing; two offsets lead through the structure that the first points to.
  std::vector<std::vector<std::size_t>> freed;
  /// Set when a null parameter is reported before it is raised.
  const char* nullReported = nullptr;
};

/// The kinds that encryption, signing and key wrapping use, and those of key derivation and key exchange.
extern const std::vector<ParameterKind> kCipherKinds;
extern const std::vector<ParameterKind> kDerivationKinds;
std::vector<const ParameterKind*> everyKind();
const ParameterKind& kindOf(CK_MECHANISM_TYPE mechanism);

struct Step {
  std::string line;
  std::string raised;
  std::string reported;
};
std::vector<Step> stepsOf(const ParameterKind& kind);

/// How many calls come before the steps, and what they are for objects called "mechanism".
inline constexpr int kFrameCalls = 5;
extern const char* const kFrame;

/// A structure as text, its pointers followed, with every byte that no cell covers and that is not zero.
std::string shown(const std::vector<Cell>& layout, const void* structure, std::size_t size);
/// The text that a structure with these contents gives.
std::string shown(const std::vector<Cell>& layout);

/// The blocks of a converted parameter in the order in which they must be freed, the structure itself last.
std::vector<const void*> blocksOf(const ParameterKind& kind, const CK_MECHANISM& mechanism);
