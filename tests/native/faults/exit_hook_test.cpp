/// When the log hook hears of a method's exit, everything is reported and given back. Nobody can see that in the
/// shipped library, whose hook does nothing, so this test is linked from the library's own objects with a hook that
/// looks.
#include "world.h"

#include <algorithm>
#include <cstdlib>
#include <set>

using namespace faults;

namespace {

bool counting = false;
std::set<void*> live;
unsigned allocated = 0;

/// What the hook saw at an exit.
struct Exit {
  std::string text;
  std::size_t lines;
  std::size_t blocks;
};

std::vector<Exit> exits;
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
  const std::string text = sFuncName;
  if (watched != nullptr && text.find(" - exit") != std::string::npos) {
    exits.push_back({text, watched->journal().size(), live.size()});
  }
}

namespace {

/// Runs the subject, with the module's first call failing if wanted, and answers whether the method told of its exit.
bool expectNothingBehindTheExit(const Subject& subject, bool failing) {
  SCOPED_TRACE(subject.label() + (failing ? ", failing" : ""));
  World world(subject);
  if (failing) {
    world.token.failCall(1, CKR_DEVICE_ERROR);
  }
  exits.clear();
  live.clear();
  watched = &world.env;
  counting = true;
  world.run();
  counting = false;
  watched = nullptr;
  for (const Exit& exit : exits) {
    EXPECT_EQ(exit.blocks, 0U) << exit.text;
  }
  const std::string& name = subject.method->reportName;
  const bool isWorkers = name == "J_SignInit";  // the method itself tells nothing
  const std::string last = exits.empty() || isWorkers ? "" : exits.back().text;
  if (last != name + " - exit" && "J_" + last != name + " - exit") {
    return false;
  }
  EXPECT_EQ(exits.back().lines, world.env.journal().size()) << jvm::joined(world.env.journal());
  return true;
}

/// Also a search that reads attributes of more matches than it keeps on its stack.
std::vector<Subject> subjects() {
  std::vector<Subject> all = allSubjects();
  const auto reading = std::find_if(all.begin(), all.end(), [](const Subject& subject) {
    return subject.method->javaName == "J_FindObjects" && subject.method->takes(Kind::IntArray);
  });
  Subject many = *reading;
  many.variant = "manyMatches";
  many.tweak.answers = {"C_FindObjects list=1..1100"};
  all.push_back(many);
  return all;
}

TEST(ExitHookTest, HearsOfNoExitBeforeEverythingIsReportedAndGivenBack) {
  for (const bool failing : {false, true}) {
    std::set<std::string> telling;
    for (const Subject& subject : subjects()) {
      if (expectNothingBehindTheExit(subject, failing)) {
        telling.insert(subject.method->symbol);
      }
    }
    EXPECT_EQ(telling.size(), 34U) << "methods that tell of their exit";
  }
  EXPECT_GT(allocated, 100U) << "or the allocations do not come here";
}

}  // namespace
