/// The configuration file beside a module: any bytes at all. It declares the signer PIN exactly when the marker is
/// somewhere in it.
#include "module_files.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

/// A file that is written anew for every input, and removed at the end of the process.
class Configuration {
public:
  Configuration() {
    // In memory where that can be had: a disk makes the target ten times slower.
    const std::filesystem::path memory = "/dev/shm";
    const bool inMemory = access(memory.c_str(), W_OK | X_OK) == 0;
    std::string name = ((inMemory ? memory : std::filesystem::temp_directory_path()) / "harlune-fuzz-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      std::perror("mkdtemp");
      std::abort();
    }
    directory_ = name;
    module_ = name + "/module.so";
    file_ = open((module_ + ".conf").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
  }
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;
  ~Configuration() {
    close(file_);
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
  }
  const char* write(const void* bytes, std::size_t size) {
    if (ftruncate(file_, 0) != 0 || pwrite(file_, bytes, size, 0) != static_cast<ssize_t>(size)) {
      std::perror("the configuration file");
      std::abort();
    }
    return module_.c_str();
  }

private:
  std::string directory_;
  std::string module_;
  int file_;
};

bool hasMarker(const std::uint8_t* data, std::size_t size) {
  constexpr char kMarker[] = "DsPinIsCNSPin=true";
  constexpr std::size_t kLength = sizeof kMarker - 1;
  for (std::size_t at = 0; at + kLength <= size; ++at) {
    if (std::memcmp(data + at, kMarker, kLength) == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Configuration configuration;
  const bool declared = configurationDeclaresSignerPin(configuration.write(data, size));
  if (declared != hasMarker(data, size)) {
    std::fprintf(stderr, "the marker was %s\n", declared ? "found where there is none" : "overlooked");
    std::abort();
  }
  return 0;
}
