/// What the log hook hears of every native method: its entry, its exit, both or neither; and an exit never before
/// everything is reported and given back. Nobody can hear that in the shipped library, whose hook does nothing, so this
/// test is linked from the library's own objects with a hook that listens.
#include "world.h"

#include <algorithm>
#include <cstdlib>
#include <set>

using namespace registry;

namespace {

bool counting = false;
std::set<void*> live;
unsigned allocated = 0;

/// What the hook was told, and what it saw then.
struct Heard {
  std::string text;
  std::size_t lines;
  std::size_t blocks;
};

std::vector<Heard> heard;
const jvm::RecordingEnv* watched = nullptr;

}  // namespace

// The linker sends the allocations of everything that is linked into this executable here.
extern "C" {
void* __real_calloc(std::size_t count, std::size_t size);
void __real_free(void* block);

void* __wrap_calloc(std::size_t count, std::size_t size) {
  void* const block = __real_calloc(count, size);
  if (counting && block != nullptr) {
    live.insert(block);
    ++allocated;
  }
  return block;
}

void __wrap_free(void* block) {
  if (counting) {
    live.erase(block);
  }
  __real_free(block);
}
}

const char* g_sLogPath = nullptr;

void LogFunction(const char* sFuncName, CK_RV /*Rv*/, ...) {
  if (watched != nullptr) {
    heard.push_back({sFuncName, watched->journal().size(), live.size()});
  }
}

namespace {

void listenTo(World& world) {
  heard.clear();
  live.clear();
  watched = &world.env;
  counting = true;
  world.run();
  counting = false;
  watched = nullptr;
}

bool endsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// The entries and exits among what was heard, but for those of the workers.
std::vector<std::string> entriesAndExitsOf(const std::string& name) {
  std::vector<std::string> texts;
  for (const Heard& call : heard) {
    if (call.text == name + " - entry" || call.text == name + " - exit") {
      texts.push_back(call.text);
    }
  }
  return texts;
}

std::vector<std::string> expectedOf(const Method& method) {
  std::vector<std::string> texts;
  if (method.log != Log::Nothing) {
    texts.push_back(method.logName() + " - entry");
  }
  if (method.log == Log::EntryAndExit || method.log == Log::Steps) {
    texts.push_back(method.logName() + " - exit");
  }
  return texts;
}

class LogHookTest : public ::testing::TestWithParam<Subject> {
protected:
  void expectEntryAndExit(World& world) {
    listenTo(world);
    const Method& method = *GetParam().method;
    // The worker of this one goes by its name, and tells for itself.
    if (method.javaName() != "J_SignInit") {
      EXPECT_EQ(entriesAndExitsOf(method.logName()), expectedOf(method));
    }
    for (const Heard& call : heard) {
      if (endsWith(call.text, " - exit")) {
        EXPECT_EQ(call.blocks, 0U) << call.text << " before everything is given back";
      }
    }
    if (method.log == Log::EntryAndExit || method.log == Log::Steps) {
      ASSERT_FALSE(heard.empty());
      EXPECT_EQ(heard.back().text, method.logName() + " - exit");
      EXPECT_EQ(heard.back().lines, world.env.journal().size()) << jvm::joined(world.env.journal());
    }
  }
};

TEST_P(LogHookTest, HearsOfAGoodRun) {
  World world(GetParam());
  expectEntryAndExit(world);
}

TEST_P(LogHookTest, HearsOfAFailure) {
  World world(GetParam());
  world.token.failCall(1, CKR_DEVICE_ERROR);
  expectEntryAndExit(world);
}

TEST_P(LogHookTest, HearsNothingElseOfAnUninitialisedLibrary) {
  const Method& method = *GetParam().method;
  World world(GetParam(), Stage::Unbound);
  expectEntryAndExit(world);
  if (method.log != Log::Steps) {
    std::vector<std::string> texts;
    for (const Heard& call : heard) {
      if (call.text.rfind("throwPkcs11Exception", 0) != 0) {
        texts.push_back(call.text);
      }
    }
    EXPECT_EQ(texts, expectedOf(method));
  }
}

/// Also a search that reads attributes of more matches than it keeps on its stack.
std::vector<Subject> subjects() {
  std::vector<Subject> all = allSubjects();
  for (const Subject& subject : plainSubjects()) {
    if (subject.method->javaName() == "J_FindObjects" && subject.method->takes(Kind::IntArray)) {
      all.push_back(subject);
      all.back().variant = "manyMatches";
      all.back().preparation.answers = {"C_FindObjects list=1..1100"};
    }
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(Every, LogHookTest, ::testing::ValuesIn(subjects()),
                         [](const auto& tested) { return tested.param.label(); });

TEST(LogHookWatchTest, SeesTheAllocationsOfTheLibrary) {
  for (const Subject& subject : plainSubjects()) {
    if (subject.method->javaName() == "J_CreateObject") {
      World world(subject);
      const unsigned before = allocated;
      listenTo(world);
      EXPECT_GT(allocated, before);
    }
  }
}

}  // namespace
