/// Structures as bytes: what `velnor.nat.Structure` has laid out, made into memory that a module can follow.
#include "functions.h"

namespace {

/// What stands before a block, and behind it the places of its pointers.
struct Head {
  std::int32_t size;
  std::int32_t length;
  std::int32_t pointers;
  std::int32_t comesBack;
};
static_assert(sizeof(Head) == kStructureHead && kStructureHead % alignof(std::max_align_t) == 0);

CK_ULONG get(const Block& block, std::int32_t place) {
  CK_ULONG value = 0;
  std::memcpy(&value, block.bytes + place, sizeof value);
  return value;
}

void put(const Block& block, std::int32_t place, CK_ULONG value) {
  std::memcpy(block.bytes + place, &value, sizeof value);
}

CK_ULONG addressOf(const Block& block) {
  return std::bit_cast<CK_ULONG>(block.bytes);
}

/// Whether `value` is an address in the block or that of its end.
bool leadsInto(const Block& block, CK_ULONG value) {
  return value - addressOf(block) <= block.size;
}

/// Whether a pointer can be there. Pointers are aligned, so that no two places overlap unless they are the same.
bool isPlace(const Block& block, std::int32_t place) {
  return place >= 0 && widen(place) % sizeof(CK_ULONG) == 0 && block.size >= sizeof(CK_ULONG) &&
         widen(place) <= block.size - sizeof(CK_ULONG);
}

bool makeAddresses(const Block& block) {
  return std::all_of(block.places, block.places + block.pointers, [&](std::int32_t place) {
    // A place that is there twice has an address by then, which is beyond all sizes.
    if (!isPlace(block, place) || get(block, place) > block.size) {
      return false;
    }
    put(block, place, addressOf(block) + get(block, place));
    return true;
  });
}

}  // namespace

bool openBlock(CK_BYTE_PTR bytes, CK_ULONG size, Behind behind, Block& block) {
  Head head = {};
  if (size < sizeof head) {
    return false;
  }
  std::memcpy(&head, bytes, sizeof head);
  const CK_ULONG blockSize = widen(head.size);
  const CK_ULONG pointers = widen(head.pointers);
  if (head.size < 0 || head.length < 0 || head.pointers < 0 || head.length > head.size ||
      blockSize % alignof(std::int32_t) != 0) {
    return false;
  }
  const CK_ULONG whole = sizeof head + blockSize + pointers * sizeof(std::int32_t);
  if (whole > size || (behind == Behind::Nothing && whole < size)) {
    return false;
  }
  block = {bytes + sizeof head,
           blockSize,
           widen(head.length),
           reinterpret_cast<const std::int32_t*>(bytes + sizeof head + blockSize),
           pointers,
           head.comesBack != 0};
  return makeAddresses(block);
}

bool isTemplate(const Block& block) {
  if (block.length % sizeof(CK_ATTRIBUTE) != 0) {
    return false;
  }
  const auto entries = reinterpret_cast<CK_ATTRIBUTE_PTR>(block.bytes);
  return std::all_of(entries, entries + block.length / sizeof(CK_ATTRIBUTE), [&](const CK_ATTRIBUTE& entry) {
    const auto value = std::bit_cast<CK_ULONG>(entry.pValue);
    return value == 0 || (leadsInto(block, value) && entry.ulValueLen <= block.size - (value - addressOf(block)));
  });
}

void closeBlock(const Block& block) {
  std::for_each(block.places, block.places + block.pointers, [&](std::int32_t place) {
    if (isPlace(block, place)) {
      const CK_ULONG value = get(block, place);
      put(block, place, leadsInto(block, value) ? value - addressOf(block) : CK_UNAVAILABLE_INFORMATION);
    }
  });
}
