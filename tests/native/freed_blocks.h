/// The blocks that the library gives back, in order, for the tests that follow its memory.
#pragma once

#include "support/allocations.h"

#include <algorithm>
#include <cstddef>
#include <vector>

struct FreedBlock {
  const void* block;
  std::size_t size;
  bool wiped;  ///< nothing but zeroes when it was given back
};

class FreedBlocks {
public:
  explicit FreedBlocks(AllocationScope& scope) {
    scope.onFree([this](const unsigned char* block, std::size_t size) {
      blocks_.push_back({block, size, std::all_of(block, block + size, [](unsigned char c) { return c == 0; })});
    });
  }

  const std::vector<FreedBlock>& list() const { return blocks_; }
  std::vector<const void*> addresses() const {
    std::vector<const void*> result;
    for (const FreedBlock& freed : blocks_) {
      result.push_back(freed.block);
    }
    return result;
  }
  std::size_t notWiped() const {
    return static_cast<std::size_t>(
        std::count_if(blocks_.begin(), blocks_.end(), [](const FreedBlock& freed) { return !freed.wiped; }));
  }

private:
  std::vector<FreedBlock> blocks_;
};
