/// Follows the library's memory: every block must be given back exactly once, the n-th allocation can be made to fail,
/// and a test can look at a block as it is given back.
///
/// Only for tests registered with ALLOCATIONS (see harlune_native_test): their executables replace the allocator's
/// functions. A scope sees what code inside libharlune.so allocates, its C++ runtime included; blocks given back stay
/// out of circulation until the scope ends, so that a second free or a late write is found instead of doing harm.
#pragma once

#include <cstddef>
#include <functional>

class AllocationScope {
public:
  AllocationScope();
  AllocationScope(const AllocationScope&) = delete;
  AllocationScope& operator=(const AllocationScope&) = delete;
  /// Fails the running test for blocks not given back, given back twice, or written to afterwards.
  ~AllocationScope();

  /// Makes the n-th allocation (from 1) from now on fail; all later ones succeed.
  void failNth(unsigned n);
  /// Whether a planned failure has not happened yet.
  bool failureLeft() const;
  /// How many allocations the library asked for since the scope began, failed ones included.
  unsigned count() const;
  /// How many blocks are not given back at this moment.
  unsigned live() const;

  using Look = std::function<void(const unsigned char* block, std::size_t size)>;
  /// Called with every block that is given back, before its contents are overwritten.
  void onFree(Look look);
};
