/// What memory costs that is only claimed to be needed, and how it is wiped.
#include "memory.h"
#include "native_test.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr CK_ULONG kMebibyte = CK_ULONG{1} << 20;
constexpr CK_ULONG kGibibyte = CK_ULONG{1} << 30;

/// What this process has, or has had at most, in memory.
CK_ULONG fromStatus(const std::string& key) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.compare(0, key.size(), key) == 0) {
      return std::stoul(line.substr(key.size())) * 1024;
    }
  }
  ADD_FAILURE() << "no " << key;
  return 0;
}

/// How much of it `call` takes at its highest.
template <typename Call>
CK_ULONG takenBy(Call&& call) {
  std::ofstream("/proc/self/clear_refs") << 5 << std::flush;  // forgets the most until now
  const CK_ULONG before = fromStatus("VmRSS:");
  call();
  return std::max(fromStatus("VmHWM:"), before) - before;
}

// --- Wiping ----------------------------------------------------------------------------------------------------------

class WipeTest : public ::testing::TestWithParam<CK_ULONG> {};

// Beginnings and ends on pages, and beside them.
INSTANTIATE_TEST_SUITE_P(Sizes, WipeTest,
                         ::testing::Values(0, 1, 4095, 4096, kMebibyte - 1, kMebibyte, kMebibyte + 1, 5 * kMebibyte,
                                           5 * kMebibyte + 4095, 9 * kMebibyte + 17));

TEST_P(WipeTest, LeavesNothingAndKeepsWhatLiesAround) {
  constexpr CK_ULONG kAround = 8192;
  for (const CK_ULONG offset : {CK_ULONG{0}, CK_ULONG{1}, CK_ULONG{16}, CK_ULONG{4095}}) {
    SCOPED_TRACE(offset);
    const CK_ULONG size = GetParam() + 2 * kAround;
    void* const mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(mapped, MAP_FAILED);
    const auto bytes = static_cast<CK_BYTE_PTR>(mapped);
    std::fill_n(bytes, size, CK_BYTE{'s'});
    CK_BYTE_PTR const from = bytes + offset;
    wipe(from, GetParam());
    const std::string_view all(reinterpret_cast<const char*>(bytes), size);
    EXPECT_EQ(all.find_first_not_of('\0', offset), offset + GetParam());
    EXPECT_EQ(all.find_first_not_of('s'), GetParam() == 0 ? std::string_view::npos : offset);
    EXPECT_EQ(all.find('\0', offset + GetParam()), std::string_view::npos);
    munmap(mapped, size);
  }
}

TEST(WipeMemoryTest, OnlyWhatWasTouchedIs) {
  const auto size = static_cast<CK_ULONG>(4 * kGibibyte);
  void* const mapped = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  ASSERT_NE(mapped, MAP_FAILED);
  const auto bytes = static_cast<CK_BYTE_PTR>(mapped);
  const CK_ULONG places[] = {0, 5000, kMebibyte, kGibibyte + 4095, 3 * kGibibyte, size - 1};
  for (const CK_ULONG place : places) {
    bytes[place] = 's';
  }
  EXPECT_LT(takenBy([&] { wipe(bytes, size); }), kMebibyte);
  for (const CK_ULONG place : places) {
    EXPECT_EQ(bytes[place], 0) << place;
  }
  munmap(mapped, size);
}

/// Has the kernel refuse a call of this process from now on.
bool forbid(unsigned call) {
  sock_filter filter[] = {
      {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
      {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, call},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ERRNO | EPERM},
      {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
  };
  sock_fprog program = {static_cast<unsigned short>(std::size(filter)), filter};
  return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

TEST(WipeMemoryTest, AllOfItIsWhereNobodyMayAsk) {
  EXPECT_EXIT(
      {
        if (!forbid(SYS_mincore) || !forbid(SYS_madvise)) {
          std::exit(2);
        }
        const CK_ULONG size = 5 * kMebibyte;
        std::string bytes(size, 's');
        wipe(bytes.data(), size);
        std::exit(bytes.find_first_not_of('\0') == std::string::npos ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

// --- Claims ----------------------------------------------------------------------------------------------------------

class ClaimsTest : public NativeTest {
protected:
  ClaimsTest() {
    given([] {
      CK_MECHANISM mechanism = {CKM_SHA_1, nullptr, 0};
      functionList->C_DigestInit(0x5E51, &mechanism);
      functionList->C_SignInit(0x5E51, &mechanism, 0xB03);
    });
  }
  /// The first answer claims four gibibytes; the second is a good one.
  void claim(const std::string& function, const std::string& claimed, const std::string& truth) {
    module.answer(function + " " + claimed);
    module.answer(function + " " + truth);
  }
};

constexpr CK_ULONG kBound = 16 * kMebibyte;

TEST_F(ClaimsTest, AnOutputThatIsClaimedTakesNoMemory) {
  claim("C_SignFinal", "CKR_BUFFER_TOO_SMALL length=0x100000000", "data=\"RESULT\"");
  jbyteArray result = nullptr;
  EXPECT_LT(takenBy([&] { result = Java_velnor_nat_NativeSession_J_1SignFinal__(jni, session); }), kBound);
  EXPECT_EQ(env.bytesOf(result), "RESULT");
}

TEST_F(ClaimsTest, AWrappedKeyThatIsClaimedTakesNoMemory) {
  claim("C_WrapKey", "CKR_BUFFER_TOO_SMALL length=0x100000000", "data=\"RESULT\"");
  jbyteArray result = nullptr;
  const jobject mechanism = env.mechanism("mechanism", CKM_SHA_1);
  EXPECT_LT(takenBy([&] { result = Java_velnor_nat_NativeSession_J_1WrapKey(jni, session, mechanism, 0xB01, 0xB01); }),
            kBound);
  EXPECT_EQ(env.bytesOf(result), "RESULT");
}

TEST_F(ClaimsTest, AnOperationStateThatIsClaimedTakesNoMemory) {
  claim("C_GetOperationState", "CKR_OK length=0x100000000", "data=\"RESULT\"");
  jbyteArray result = nullptr;
  EXPECT_LT(takenBy([&] { result = Java_velnor_nat_NativeSession_J_1GetOperationState(jni, session); }), kBound);
  EXPECT_EQ(env.bytesOf(result), "RESULT");
}

TEST_F(ClaimsTest, ASignatureThatIsClaimedTakesNoMemory) {
  claim("C_Sign", "CKR_OK length=0x100000000", "data=\"RESULT\"");
  jbyteArray result = nullptr;
  const jbyteArray data = env.bytes("data", "data");
  EXPECT_LT(takenBy([&] {
              result = Java_velnor_nat_NativeSession_J_1Sign__JZLvelnor_Mechanism_2J_3BII(
                  jni, session, 0x5E51, JNI_FALSE, nullptr, 0xB03, data, 0, 4);
            }),
            kBound);
  EXPECT_EQ(env.bytesOf(result), "RESULT");
}

TEST_F(ClaimsTest, SlotsThatAreClaimedTakeNoMemory) {
  claim("C_GetSlotList", "CKR_OK count=0x20000000", "list=7");
  jobject result = nullptr;
  EXPECT_LT(takenBy([&] { result = Java_velnor_nat_NativeCryptoki_GetSlotList(jni, cryptoki, JNI_FALSE); }), kBound);
  EXPECT_NE(result, nullptr);
}

TEST_F(ClaimsTest, MechanismsThatAreClaimedTakeNoMemory) {
  claim("C_GetMechanismList", "CKR_OK count=0x20000000", "list=7");
  jobject result = nullptr;
  EXPECT_LT(takenBy([&] { result = Java_velnor_nat_NativeSlot_J_1GetMechanismList(jni, slot); }), kBound);
  EXPECT_NE(result, nullptr);
}

// Without these the bound would prove nothing.
TEST_F(ClaimsTest, WhatIsUsedIsSeen) {
  claim("C_SignFinal", "CKR_BUFFER_TOO_SMALL length=0x1400000", "size=0x1400000");
  EXPECT_GT(takenBy([&] { Java_velnor_nat_NativeSession_J_1SignFinal__(jni, session); }), kBound);
}

}  // namespace
