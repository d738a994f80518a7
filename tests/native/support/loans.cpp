#include "loans.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
#define HARLUNE_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HARLUNE_ASAN 1
#endif
#endif
#ifdef HARLUNE_ASAN
#include <sanitizer/asan_interface.h>

// Lengths that no allocator can serve are a case of the library's; the sanitizer would end the process over them.
extern "C" __attribute__((visibility("default"))) const char* __asan_default_options() {
  // The leak sanitizer guesses where the thread-local memory of a module loaded at run time lies, and guesses wrong.
  return "allocator_may_return_null=1:intercept_tls_get_addr=0";
}
#endif

namespace jvm {
namespace {

constexpr std::size_t kGuard = 256;
constexpr unsigned char kGuardByte = 0xA5;

std::size_t padded(std::size_t size) {
  return (size + 15) / 16 * 16;
}

}  // namespace

Loans::~Loans() {
  for (const auto& loan : loans_) {
    poison(*loan, false);
  }
}

void* Loans::lend(Object* owner, const std::string& what, const void* bytes, std::size_t size) {
  const std::size_t whole = 2 * kGuard + padded(size);
  auto loan =
      std::make_unique<Loan>(Loan{owner, what, std::make_unique<unsigned char[]>(whole), nullptr, size, false, false});
  std::memset(loan->block.get(), kGuardByte, whole);
  loan->bytes = loan->block.get() + kGuard;
  if (size > 0) {
    std::memcpy(loan->bytes, bytes, size);
  }
  poison(*loan, true);
  loans_.push_back(std::move(loan));
  return loans_.back()->bytes;
}

const Loans::Loan* Loans::settle(Object* owner, const std::string& what, const void* elements, jint mode) {
  if (elements == nullptr || owner == nullptr) {
    return nullptr;
  }
  const auto found =
      std::find_if(loans_.begin(), loans_.end(), [elements](const auto& loan) { return loan->bytes == elements; });
  if (found == loans_.end()) {
    ADD_FAILURE() << what << " given back for " << owner->name << " were never lent";
    return nullptr;
  }
  Loan& loan = **found;
  if (loan.returned) {
    ADD_FAILURE() << loan.what << " of " << loan.owner->name << " given back twice";
    return nullptr;
  }
  if (loan.owner != owner || loan.what != what) {
    ADD_FAILURE() << loan.what << " of " << loan.owner->name << " given back as " << what << " of " << owner->name;
    return nullptr;
  }
  if (mode < 0 || mode > JNI_ABORT) {
    ADD_FAILURE() << what << " of " << owner->name << " given back with mode " << mode;
    return nullptr;
  }
  checkGuards(loan);
  loan.returned = mode != JNI_COMMIT;
  return &loan;
}

std::vector<std::string> Loans::out() const {
  std::vector<std::string> names;
  for (const auto& loan : loans_) {
    if (!loan->returned) {
      names.push_back(loan->owner->name);
    }
  }
  return names;
}

void Loans::checkGuards() const {
  for (const auto& loan : loans_) {
    checkGuards(*loan);
  }
}

void Loans::checkGuards(const Loan& loan) {
  poison(loan, false);
  const auto untouched = [](const unsigned char* from, const unsigned char* to) {
    return std::all_of(from, to, [](unsigned char c) { return c == kGuardByte; });
  };
  const unsigned char* const end = loan.block.get() + 2 * kGuard + padded(loan.size);
  if (!loan.damageReported && (!untouched(loan.block.get(), loan.bytes) || !untouched(loan.bytes + loan.size, end))) {
    loan.damageReported = true;
    ADD_FAILURE() << "written outside the " << loan.size << " bytes of the " << loan.what << " of " << loan.owner->name;
  }
  poison(loan, true);
}

void Loans::poison([[maybe_unused]] const Loan& loan, [[maybe_unused]] bool on) {
#ifdef HARLUNE_ASAN
  const std::size_t whole = 2 * kGuard + padded(loan.size);
  ASAN_UNPOISON_MEMORY_REGION(loan.block.get(), whole);
  if (on) {
    ASAN_POISON_MEMORY_REGION(loan.block.get(), kGuard);
    ASAN_POISON_MEMORY_REGION(loan.bytes + loan.size, whole - kGuard - loan.size);
  }
#endif
}

}  // namespace jvm
