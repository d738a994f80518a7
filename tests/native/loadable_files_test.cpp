/// Files that the dynamic loader does not survive, or does not come back from, never reach it.
#include "../../src/Harlune/module_files.h"

#include <cstdlib>
#include <elf.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace {

namespace fs = std::filesystem;

constexpr const char* kNotRegular = "it is not a regular file";
constexpr const char* kCutOff = "the file is shorter than its segments";

class LoadableFilesTest : public ::testing::Test {
protected:
  void SetUp() override {
    char name[] = "/tmp/harlune-loadable-XXXXXX";
    ASSERT_NE(mkdtemp(name), nullptr);
    directory = name;
  }
  void TearDown() override { fs::remove_all(directory); }

  std::string path(const char* name) const { return directory / name; }

  /// A file with the first bytes of a whole library.
  std::string cutOff(std::uintmax_t size) const {
    const std::string file = path(("cut" + std::to_string(size) + ".so").c_str());
    fs::copy_file(whole, file);
    fs::resize_file(file, size);
    return file;
  }

  const fs::path whole = fs::canonical("/proc/self/exe");
  fs::path directory;
};

TEST_F(LoadableFilesTest, RefusesWhatIsNoFile) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  fs::create_symlink(path("pipe"), path("link"));
  for (const std::string& name : {path("pipe"), path("link"), directory.string(), std::string("/dev/zero")}) {
    EXPECT_STREQ(whyNotToLoad(name.c_str()), kNotRegular) << name;
  }
}

TEST_F(LoadableFilesTest, RefusesAFileThatIsShorterThanItsSegments) {
  EXPECT_EQ(whyNotToLoad(whole.c_str()), nullptr);
  const auto size = fs::file_size(whole);
  for (const std::uintmax_t shorter : {sizeof(Elf64_Ehdr), sizeof(Elf64_Ehdr) + 1, std::size_t{4096}, size / 2}) {
    EXPECT_STREQ(whyNotToLoad(cutOff(shorter).c_str()), kCutOff) << shorter;
  }
}

TEST_F(LoadableFilesTest, RefusesSegmentsWhoseEndOverflows) {
  const std::string file = path("lying.so");
  fs::copy_file(whole, file);
  std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
  Elf64_Ehdr header;
  stream.read(reinterpret_cast<char*>(&header), sizeof header);
  Elf64_Phdr segment = {};
  segment.p_offset = 1;
  segment.p_filesz = ~std::uint64_t{0};
  stream.seekp(static_cast<std::streamoff>(header.e_phoff));
  stream.write(reinterpret_cast<const char*>(&segment), sizeof segment);
  stream.close();
  EXPECT_STREQ(whyNotToLoad(file.c_str()), kCutOff);
}

TEST_F(LoadableFilesTest, LeavesToTheLoaderWhatItRefusesByItself) {
  std::ofstream(path("text.so")) << "no library at all, but more than sixty-four bytes of something or other";
  std::ofstream(path("empty.so")).flush();
  for (const char* name : {"text.so", "empty.so", "absent.so"}) {
    EXPECT_EQ(whyNotToLoad(path(name).c_str()), nullptr) << name;
  }
}

TEST_F(LoadableFilesTest, LooksForABareNameWhereTheLoaderDoes) {
  EXPECT_EQ(whyNotToLoad("libc.so.6"), nullptr);
  EXPECT_EQ(whyNotToLoad("libharlune-none.so"), nullptr);
}

}  // namespace
