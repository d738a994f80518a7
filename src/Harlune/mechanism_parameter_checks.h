/// What the compiler is asked of every kind of mechanism parameter.
#pragma once

#include "mechanism_parameters.h"

/// The size of what a cell stores at its offset.
constexpr std::size_t sizeOf(const Cell& cell) {
  switch (cell.content) {
  case Cell::Content::Byte:
    return sizeof(CK_BYTE);
  case Cell::Content::InlineIv:
    return kIvLength;
  default:
    return sizeof(CK_ULONG);  // as wide as a pointer
  }
}

/// Whether nothing is stored beyond its structure, and an order of freeing that is written out has every pointer once.
constexpr bool isSound(const ParameterKind& kind) {
  const auto timesFreed = [&kind](std::size_t offset, Block block) {
    int times = 0;
    for (const Pointer& pointer : kind.freed) {
      times += pointer.offset == offset && pointer.block == block ? 1 : 0;
    }
    return times;
  };
  const bool isWrittenOut = !kind.freed.empty();
  std::size_t pointers = 0;
  for (const Cell& cell : kind.cells) {
    const std::size_t size = cell.block == Block::Main ? kind.size : kind.inner.size;
    if (cell.offset + sizeOf(cell) > size || (isPointer(cell) && cell.lengthOffset + sizeof(CK_ULONG) > size)) {
      return false;
    }
    if (isPointer(cell)) {
      ++pointers;
      if (isWrittenOut && timesFreed(cell.offset, cell.block) != 1) {
        return false;
      }
    }
  }
  if (kind.inner.size != 0) {
    ++pointers;
    if (kind.inner.pointerOffset + sizeof(CK_VOID_PTR) > kind.size ||
        (isWrittenOut && timesFreed(kind.inner.pointerOffset, Block::Main) != 1)) {
      return false;
    }
  }
  return !isWrittenOut || kind.freed.size() == pointers;
}
