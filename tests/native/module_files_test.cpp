/// What a load reads from the file system: where the module lies, and the configuration file beside it. Linked from the
/// library's own objects, for the functions that it does not export and for the texts that it raises to C++ callers.
#include "module.h"
#include "module_copies.h"
#include "module_files.h"
#include "native_test.h"

#include <cstring>
#include <fcntl.h>
#include <memory>
#include <optional>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class ModuleFilesTest : public UnboundTest {
protected:
  bool isSecondAuthenticationRequired() {
    return Java_velnor_nat_NativeCryptoki_IsSecondAuthenticationRequired(jni, cryptoki) == JNI_TRUE;
  }
  std::string lastLoadedLibraryFullPath() {
    return env.show(Java_velnor_nat_NativeCryptoki_getLastLoadedLibraryFullPath(jni, NativeCryptoki));
  }
  /// What the process map says of the loaded module.
  std::string mappedPath(const char* name) {
    std::unique_ptr<char, void (*)(void*)> path(getmodulepath(hLibModule, name), std::free);
    return path == nullptr ? "null" : path.get();
  }

  const jclass NativeCryptoki = env.classOf("velnor/nat/NativeCryptoki");
  ModuleDirectory directory;
};

// --- The path in a process map ---------------------------------------------------------------------------------------

constexpr char kMap[] = "55d0-55d1 r-xp 00000000 fd:01 42   /usr/bin/java\n"
                        "7f00-7f01 r-xp 00000000 fd:01 43   /opt/first/libmodule.so\n"
                        "7f02-7f03 r-xp 00000000 fd:01 44   /opt/second/libmodule.so\r\n"
                        "7f04-7f05 r-xp 00000000 fd:01 45   /opt/with blank/libother.so\n"
                        "7f06-7f07 rw-p 00000000 00:00 0\n"
                        "7f08-7f09 r-xp 00000000 fd:01 46   /opt/last/libend.so";

struct Mention {
  const char* name;
  std::string map;
  std::string mentioned;
  std::optional<std::string> path;
};

void PrintTo(const Mention& mention, std::ostream* out) {
  *out << mention.name;
}

class MappedPathTest : public ::testing::TestWithParam<Mention> {};

TEST_P(MappedPathTest, BeginsBehindABlankAndEndsWithItsLine) {
  const std::string_view found = findMappedPath(GetParam().map, GetParam().mentioned);
  ASSERT_EQ(found.data() != nullptr, GetParam().path.has_value());
  EXPECT_EQ(found, GetParam().path.value_or(""));
}

using namespace std::string_literals;

const std::string kLongDirectory = "/" + std::string(3000, 'd');

INSTANTIATE_TEST_SUITE_P(
    Maps, MappedPathTest,
    ::testing::Values(
        Mention{"FirstLineWins", kMap, "libmodule.so", "/opt/first/libmodule.so"},
        Mention{"PartOfThePathIsEnough", kMap, "second/lib", "/opt/second/libmodule.so"},
        Mention{"PartOfTheFileNameIsEnough", kMap, "ule", "/opt/first/libmodule.so"},
        Mention{"CarriageReturnEndsThePath", kMap, "second", "/opt/second/libmodule.so"},
        Mention{"BlankCutsThePathBehindIt", kMap, "libother.so", "blank/libother.so"},
        Mention{"LastLineNeedsNoLineFeed", kMap, "libend.so", "/opt/last/libend.so"},
        Mention{"ColumnsBeforeThePathCountToo", kMap, "fd:01", "fd:01 42   /usr/bin/java"},
        // Only blanks and zeroes end the way back, so a name found in an address leads to the line before.
        Mention{"WayBackCrossesLines", kMap, "7f00", "/usr/bin/java"},
        Mention{"NameThatBeginsWithABlank", kMap, " /usr", "/usr/bin/java"},
        Mention{"NameWithABlankBehindItsFirstCharacter", kMap, "h blank/", "/opt/with blank/libother.so"},
        Mention{"NothingMentionedInAnEmptyMap", "", "", {}}, Mention{"NothingBehindTheBlank", "a \nb", " \n", ""},
        Mention{"CaseMatters", kMap, "LIBMODULE.SO", {}}, Mention{"NotMentioned", kMap, "libabsent.so", {}},
        Mention{"EmptyMap", "", "x", {}}, Mention{"BeginsWithTheMap", "lib.so\n", "lib.so", "lib.so"},
        Mention{"ZeroBeginsAPath", "a b\0c/lib.so\n"s, "lib", "c/lib.so"},
        Mention{"ZeroDoesNotEndAPath", "a /lib.so\0x\ny"s, "lib", "/lib.so\0x"s},
        Mention{"LongPathIsNotCut", "a " + kLongDirectory + "/m.so\n", "m.so", kLongDirectory + "/m.so"},
        Mention{"LongNameIsFound", "a " + kLongDirectory + "/m.so\n", kLongDirectory, kLongDirectory + "/m.so"},
        Mention{"FarDownInTheMap", std::string(100000, '\n') + "a /m.so\n", "m.so", "/m.so"}),
    [](const auto& test) { return std::string(test.param.name); });

// --- The full path of a module ---------------------------------------------------------------------------------------

TEST_F(ModuleFilesTest, FullPathIsEmptyBeforeAnyLoad) {
  EXPECT_EQ(lastLoadedLibraryFullPath(), R"("")");
  EXPECT_TRACE(R"(NewStringUTF "")");
}

TEST_F(ModuleFilesTest, RefusedStringIsJavasOwnAffair) {
  env.failNext("NewStringUTF", jvm::Leaving::Exception);
  EXPECT_EQ(Java_velnor_nat_NativeCryptoki_getLastLoadedLibraryFullPath(jni, NativeCryptoki), nullptr);
  EXPECT_EQ(env.pendingClass(), "java/lang/OutOfMemoryError");
}

TEST_F(ModuleFilesTest, NameAndPathAreCopiedToTheirEndAndNoFurther) {
  std::memset(sLibName, 'x', sizeof sLibName);
  std::memset(sLibFullPath, 'x', sizeof sLibFullPath);
  load(module.path());
  const std::size_t end = std::strlen(module.path());
  EXPECT_STREQ(sLibName, module.path());
  EXPECT_STREQ(sLibFullPath, module.path());
  EXPECT_EQ(sLibName[end + 1], 'x');
  EXPECT_EQ(sLibFullPath[end + 1], 'x');
}

TEST_F(ModuleFilesTest, AbsoluteNameIsTakenWithoutALookAtTheFileSystem) {
  EXPECT_EQ(mappedPath("/no/such/module.so"), "/no/such/module.so");
  EXPECT_EQ(mappedPath("/"), "/");
}

TEST_F(ModuleFilesTest, AbsoluteNameKeepsItsSymbolicLinks) {
  directory.copy(module.path(), "real/module.so");
  std::filesystem::create_directory_symlink("real", directory / "link");
  const std::string linked = directory / "link/module.so";
  load(linked.c_str());
  EXPECT_EQ(lastLoadedLibraryFullPath(), '"' + linked + '"');
}

TEST_F(ModuleFilesTest, AbsoluteNameKeepsBlanksAndOtherCharacters) {
  const std::string named = directory.copy(module.path(), "with blank/M\xC3\xB6"
                                                          "dul.so");
  load(named.c_str());
  EXPECT_EQ(lastLoadedLibraryFullPath(), '"' + named + '"');
}

TEST_F(ModuleFilesTest, RelativeNameGetsItsPathFromTheProcessMap) {
  const std::string file = directory.copy(module.path(), "modules/relative-module.so");
  const CurrentDirectory here(directory.path());
  load("modules/relative-module.so");
  EXPECT_EQ(lastLoadedLibraryFullPath(), '"' + file + '"');
  EXPECT_STREQ(sLibName, "modules/relative-module.so");
}

TEST_F(ModuleFilesTest, RelativeNameInADirectoryWithABlankLosesWhatStandsBeforeIt) {
  directory.copy(module.path(), "with blank/modules/blank-module.so");
  const CurrentDirectory here(directory.path() / "with blank");
  load("modules/blank-module.so");
  EXPECT_EQ(lastLoadedLibraryFullPath(), R"("blank/modules/blank-module.so")");
}

// Nothing in the map is spelled like that. The module is bound all the same, its path stays unknown, and so does its
// configuration file.
TEST_F(ModuleFilesTest, DottedNamesAreNotInTheProcessMap) {
  directory.copy(module.path(), "modules/dotted-module.so");
  directory.write("modules/dotted-module.so.conf", "DsPinIsCNSPin=true");
  const CurrentDirectory here(directory.path() / "modules");
  for (const char* const name : {"./dotted-module.so", "../modules/dotted-module.so"}) {
    load(module.path());
    g_bIsSecondAuthenticationRequired = false;
    load(name);
    EXPECT_NE(functionList, nullptr) << name;
    EXPECT_STREQ(sLibName, name);
    EXPECT_EQ(lastLoadedLibraryFullPath(), R"("")") << name;
    EXPECT_TRUE(isSecondAuthenticationRequired()) << name;
  }
}

TEST_F(ModuleFilesTest, NameThatIsNotMappedHasNoPath) {
  EXPECT_EQ(mappedPath("no-such-module-in-this-process.so"), "null");
}

TEST_F(ModuleFilesTest, NoPathIsFoundWhileTheProcessMapCannotBeOpened) {
  load(modules::kScripted);
  rlimit limit = {};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
  const rlimit none = {0, limit.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const std::string path = mappedPath("scripted-module.so");
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
  EXPECT_EQ(path, "null");
  EXPECT_EQ(mappedPath("scripted-module.so"), modules::kScripted);
}

// The map is searched as text: any earlier line that mentions the name answers for it.
TEST_F(ModuleFilesTest, FirstMentionAnswersForAName) {
  std::ifstream map("/proc/self/maps");
  std::string line;
  while (std::getline(map, line) && line.find('/') == std::string::npos) {
  }
  const std::string first = line.substr(line.rfind(' ') + 1);
  ASSERT_EQ(first.front(), '/') << line;
  EXPECT_EQ(mappedPath(first.substr(1).c_str()), first);
}

/// Without a directory: the process that the test starts ends where it would not be cleaned up.
class SearchedModuleTest : public UnboundTest {};

// The loader's search path is read when a process starts, so the load happens in one that was started with it.
TEST_F(SearchedModuleTest, BareNameIsSearchedForAndGetsItsFullPath) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::filesystem::path searched = modules::kCallbackOtherName;
  ASSERT_EQ(setenv("LD_LIBRARY_PATH", searched.parent_path().c_str(), 1), 0);
  const auto loadBareName = [&] {
    load(searched.filename().c_str());
    const bool good = functionList != nullptr && sLibName == searched.filename() && sLibFullPath == searched;
    std::fprintf(stderr, "name %s, path %s\n", sLibName, sLibFullPath);
    std::exit(good ? 0 : 1);
  };
  EXPECT_EXIT(loadBareName(), ::testing::ExitedWithCode(0), "");
  unsetenv("LD_LIBRARY_PATH");
}

TEST_F(ModuleFilesTest, BareNameThatIsNowhereIsReported) {
  Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary(jni, NativeCryptoki, env.string("library", "no-such-module.so"));
  EXPECT_EQ(env.pendingReport()->message, "error loading pkcs#11 library: no-such-module.so: cannot open shared object "
                                          "file: No such file or directory");
}

// Cut to the buffer it would name another file, and the configuration of another module would count.
TEST_F(ModuleFilesTest, PathThatDoesNotFitIsRefused) {
  const CurrentDirectory here(directory.path());
  const std::string name = copyDeep(module.path(), sizeof sLibFullPath);
  std::strcpy(sLibFullPath, "/before");
  Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary(jni, NativeCryptoki, env.string("library", name));
  EXPECT_EQ(env.pending(),
            R"(CryptokiException("loadCryptokiLibrary", 5, "full path of the pkcs#11 library is too long"))");
  EXPECT_EQ(functionList, nullptr);
  EXPECT_STREQ(sLibFullPath, "/before");
  EXPECT_STREQ(sLibName, "");
}

TEST_F(ModuleFilesTest, PathThatJustFitsIsTaken) {
  const CurrentDirectory here(directory.path());
  const std::string name = copyDeep(module.path(), sizeof sLibFullPath - 1);
  Java_velnor_nat_NativeCryptoki_loadCryptokiLibrary(jni, NativeCryptoki, env.string("library", name));
  EXPECT_EQ(env.pending(), "");
  EXPECT_NE(functionList, nullptr);
  EXPECT_EQ(std::strlen(sLibFullPath), sizeof sLibFullPath - 1);
}

// --- The configuration file ------------------------------------------------------------------------------------------

TEST_F(ModuleFilesTest, SecondAuthenticationIsRequiredFromTheStart) {
  EXPECT_TRUE(isSecondAuthenticationRequired());
  EXPECT_TRACE("");
}

struct Configuration {
  const char* name;
  std::string contents;
  bool required;
};

void PrintTo(const Configuration& configuration, std::ostream* out) {
  *out << configuration.name;
}

class ConfigurationTest : public ModuleFilesTest, public ::testing::WithParamInterface<Configuration> {};

TEST_P(ConfigurationTest, DecidesOnSecondAuthentication) {
  const std::string library = directory.copy(module.path(), "module.so");
  directory.write("module.so.conf", GetParam().contents);
  g_bIsSecondAuthenticationRequired = !GetParam().required;
  load(library.c_str());
  EXPECT_EQ(isSecondAuthenticationRequired(), GetParam().required);
}

const std::string kMarker = "DsPinIsCNSPin=true";

INSTANTIATE_TEST_SUITE_P(
    Contents, ConfigurationTest,
    ::testing::Values(Configuration{"MarkerAlone", kMarker, false},
                      Configuration{"MarkerInItsLine", "[pin]\nDsPinIsCNSPin=true\nother=1\n", false},
                      Configuration{"AnythingAroundTheMarker", "#xDsPinIsCNSPin=truex", false},
                      Configuration{"MarkerBehindAZero", "binary\0"s + kMarker, false},
                      Configuration{"MarkerAtTheEndOfALargeFile", std::string(3 << 20, ' ') + kMarker, false},
                      Configuration{"MarkerAcrossAPage", std::string(4090, ' ') + kMarker + std::string(5000, ' '),
                                    false},
                      Configuration{"Empty", "", true}, Configuration{"OtherText", "DsPinIsCNSPin=false\n", true},
                      Configuration{"LowerCase", "dspiniscnspin=true", true},
                      Configuration{"CapitalValue", "DsPinIsCNSPin=TRUE", true},
                      Configuration{"BlanksInside", "DsPinIsCNSPin = true", true},
                      Configuration{"MarkerCutShort", "DsPinIsCNSPin=tru", true},
                      Configuration{"MarkerInterrupted", "DsPinIsCNSPin=\ntrue", true}),
    [](const auto& test) { return std::string(test.param.name); });

class ConfigurationFileTest : public ModuleFilesTest {
protected:
  ConfigurationFileTest() { g_bIsSecondAuthenticationRequired = false; }

  void expectRequired() {
    load(library.c_str());
    EXPECT_TRUE(isSecondAuthenticationRequired());
  }

  const std::string library = directory.copy(module.path(), "module.so");
  const std::string configuration = library + ".conf";
};

TEST_F(ConfigurationFileTest, NoFile) {
  expectRequired();
}

TEST_F(ConfigurationFileTest, FileOfAnotherName) {
  directory.write("module.conf", kMarker);
  directory.write("module.so.CONF", kMarker);
  directory.write(".conf", kMarker);
  expectRequired();
}

TEST_F(ConfigurationFileTest, Directory) {
  std::filesystem::create_directory(configuration);
  expectRequired();
}

TEST_F(ConfigurationFileTest, LinkToNowhere) {
  std::filesystem::create_symlink("nowhere", configuration);
  expectRequired();
}

TEST_F(ConfigurationFileTest, LinkToAFile) {
  directory.write("elsewhere", kMarker);
  std::filesystem::create_symlink("elsewhere", configuration);
  load(library.c_str());
  EXPECT_FALSE(isSecondAuthenticationRequired());
}

// Whoever can write beside the module must not be able to hold the JVM up.
TEST_F(ConfigurationFileTest, PipeAndDeviceDoNotBlockTheLoad) {
  alarm(20);
  ASSERT_EQ(mkfifo(configuration.c_str(), 0644), 0);
  expectRequired();
  std::filesystem::remove(configuration);
  std::filesystem::create_symlink("/dev/zero", configuration);
  g_bIsSecondAuthenticationRequired = false;
  expectRequired();
  alarm(0);
}

/// Gives up the power of root, who can read everything.
class Nobody {
public:
  Nobody() {
    if (user_ == 0) {
      EXPECT_EQ(seteuid(65534), 0);
    }
  }
  Nobody(const Nobody&) = delete;
  Nobody& operator=(const Nobody&) = delete;
  ~Nobody() { EXPECT_EQ(seteuid(user_), 0); }

private:
  uid_t user_ = geteuid();
};

TEST_F(ConfigurationFileTest, UnreadableFile) {
  directory.write("module.so.conf", kMarker);
  ASSERT_EQ(chmod(configuration.c_str(), 0), 0);
  ASSERT_EQ(chmod(directory.path().c_str(), 0755), 0);
  const Nobody nobody;
  ASSERT_TRUE(std::filesystem::exists(configuration));
  ASSERT_EQ(std::fopen(configuration.c_str(), "rb"), nullptr);
  expectRequired();
}

TEST_F(ConfigurationFileTest, EveryLoadDecidesAnew) {
  const std::string other = directory.copy(module.path(), "other.so");
  directory.write("other.so.conf", kMarker);
  load(other.c_str());
  EXPECT_FALSE(isSecondAuthenticationRequired());
  expectRequired();
  load(other.c_str());
  EXPECT_FALSE(isSecondAuthenticationRequired());
  std::filesystem::remove(other + ".conf");
  load(other.c_str());
  EXPECT_TRUE(isSecondAuthenticationRequired());
}

TEST_F(ConfigurationFileTest, LiesBesideTheLinkByWhichAModuleIsNamed) {
  const std::string link = directory / "link.so";
  std::filesystem::create_symlink("module.so", link);
  directory.write("link.so.conf", kMarker);
  load(link.c_str());
  EXPECT_FALSE(isSecondAuthenticationRequired());
  expectRequired();
}

TEST_F(ConfigurationFileTest, LiesBesideAModuleThatWasFoundInTheProcessMap) {
  directory.write("module.so.conf", kMarker);
  const CurrentDirectory here(directory.path().parent_path());
  g_bIsSecondAuthenticationRequired = true;
  load((directory.path().filename() / "module.so").c_str());
  EXPECT_FALSE(isSecondAuthenticationRequired());
}

TEST_F(ConfigurationFileTest, ConfigurationOfATooLongPathIsNotFound) {
  EXPECT_FALSE(configurationDeclaresSignerPin(("/" + std::string(4094, 'x')).c_str()));
  EXPECT_FALSE(configurationDeclaresSignerPin(""));
}

// --- Other code of the process ---------------------------------------------------------------------------------------

// Other code of the process may load as well; it gets what the native method would have reported.
TEST_F(ModuleFilesTest, RaisesToOtherCallersWhatJavaWouldBeTold) {
  const auto raisedBy = [](const char* library) -> std::string {
    try {
      loadLibrary(library, 1, 0);
    } catch (const char* text) {
      return text;
    } catch (CK_RV Rv) {
      return "CK_RV " + std::to_string(Rv);
    }
    return "";
  };
  EXPECT_EQ(raisedBy(nullptr), "No cryptoki library specified");
  EXPECT_EQ(raisedBy("/no/such.so"),
            "error loading pkcs#11 library: /no/such.so: cannot open shared object file: No such "
            "file or directory");
  EXPECT_EQ(raisedBy(modules::kListFails), "CK_RV 6");
  EXPECT_EQ(raisedBy(module.path()), "");
  EXPECT_NE(functionList, nullptr);
  EXPECT_STREQ(sLibName, "") << "remembering the name is the native method's";
}

}  // namespace
