/// The session or slot that a method is called on, and the 64 bits in which the module gets to see it.
#include "world.h"

using namespace registry;

namespace {

/// A Java value of an argument or a field, and what the module must see.
struct Width {
  jlong java;
  const char* seen;
};

// An argument is a Java long and taken whole.
const std::vector<Width> kArgument = {
    {0, "0x0"},
    {-1, "0xFFFFFFFFFFFFFFFF"},
    {0x80000001, "0x80000001"},
    {0x123456789ABCDEF0, "0x123456789ABCDEF0"},
};

// The field of a slot is a Java int, and modules see its sign in all 64 bits: those that hand out such handles get back
// what they gave, and callers of -1 ask for "all ones".
const std::vector<Width> kSlotField = {
    {0, "0x0"},
    {0x7FFFFFFF, "0x7FFFFFFF"},
    {-1, "0xFFFFFFFFFFFFFFFF"},
    {-0x80000000LL, "0xFFFFFFFF80000000"},
};

// The field of a session is a Java long, of which only the low 32 bits are read, as an int.
const std::vector<Width> kSessionField = {
    {0, "0x0"},
    {0x7FFFFFFF, "0x7FFFFFFF"},
    {-1, "0xFFFFFFFFFFFFFFFF"},
    {-0x80000000LL, "0xFFFFFFFF80000000"},
    {0x80000000LL, "0xFFFFFFFF80000000"},
    {0x100000001LL, "0x1"},
    {0x5500000000LL, "0x0"},
    {-0x100000000LL + 7, "0x7"},
};

const std::vector<Width>& widthsOf(const Method& method) {
  switch (method.handle) {
  case Handle::SessionArgument:
    return kArgument;
  case Handle::SlotObject:
    return kSlotField;
  default:
    return kSessionField;
  }
}

class HandleTest : public ::testing::TestWithParam<Subject> {};

TEST_P(HandleTest, ReachesTheModule) {
  const Method& method = *GetParam().method;
  const std::string name = method.handle == Handle::SlotObject ? " slot=" : " session=";
  for (const Width& width : widthsOf(method)) {
    World world(GetParam());
    world.nameHandle(width.java);
    world.token.failCall(1, CKR_DEVICE_ERROR);
    world.run();
    const std::vector<std::string> calls = jvm::moduleLines(world.env.journal());
    ASSERT_FALSE(calls.empty());
    const std::string asked =
        calls.front().substr(calls.front().find(' '), name.size() + std::string(width.seen).size() + 1);
    EXPECT_EQ(asked, name + width.seen + " ");
  }
}

std::vector<Subject> subjectsWithHandles() {
  std::vector<Subject> chosen;
  for (const Subject& subject : allSubjects()) {
    const bool plain = subject.variant.empty() || subject.variant == "continued";
    if (plain && subject.method->handle != Handle::None) {
      chosen.push_back(subject);
    }
  }
  return chosen;
}

INSTANTIATE_TEST_SUITE_P(Every, HandleTest, ::testing::ValuesIn(subjectsWithHandles()),
                         [](const auto& tested) { return tested.param.label(); });

}  // namespace
