#include "module_files.h"

#include "harlune.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr std::size_t nReadUnit = 200;

constexpr std::string_view kSignerPinMarker = "DsPinIsCNSPin=true";

char* newText(std::string_view characters) {
  const auto copy = static_cast<char*>(tryAllocate(characters.size() + 1));
  if (copy != nullptr) {
    characters.copy(copy, characters.size());
  }
  return copy;
}

/// Reads a file that does not tell its size, such as those of the proc file system. Null when memory runs out.
char* readAll(std::FILE* file, std::size_t& length) {
  char* text = nullptr;
  std::size_t capacity = 0;
  std::size_t read = 0;
  length = 0;
  do {
    if (capacity - length < nReadUnit) {
      capacity = 2 * capacity + nReadUnit;
      const auto grown = static_cast<char*>(tryAllocate(capacity));
      if (grown != nullptr && text != nullptr) {
        std::memcpy(grown, text, length);
      }
      release(text);
      if (grown == nullptr) {
        return nullptr;
      }
      text = grown;
    }
    read = std::fread(text + length, 1, nReadUnit, file);
    length += read;
  } while (read == nReadUnit);
  return text;
}

bool readAt(int file, off_t offset, void* bytes, std::size_t size) {
  return pread(file, bytes, size, offset) == static_cast<ssize_t>(size);
}

/// Whether every segment of an ELF file lies within it. What is no ELF file of this kind the loader refuses by itself.
bool hasItsSegments(int file, std::uint64_t fileSize) {
  Elf64_Ehdr header;
  if (!readAt(file, 0, &header, sizeof header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
      header.e_ident[EI_CLASS] != ELFCLASS64 || header.e_phentsize != sizeof(Elf64_Phdr)) {
    return true;
  }
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    Elf64_Phdr segment;
    const auto offset = static_cast<off_t>(header.e_phoff + i * sizeof segment);
    if (offset < 0 || !readAt(file, offset, &segment, sizeof segment) || segment.p_offset > fileSize ||
        segment.p_filesz > fileSize - segment.p_offset) {
      return false;
    }
  }
  return true;
}

const char* whyNotToLoadFile(const char* path) {
  // To open a pipe would wait for its other end, and to open a device may set something off: look first.
  struct stat status;
  if (stat(path, &status) != 0) {
    return nullptr;
  }
  if (!S_ISREG(status.st_mode)) {
    return "it is not a regular file";
  }
  const int file = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) {
    return nullptr;
  }
  const bool isWhole = fstat(file, &status) == 0 && hasItsSegments(file, static_cast<std::uint64_t>(status.st_size));
  close(file);
  return isWhole ? nullptr : "the file is shorter than its segments";
}

/// The directories that the loader searches, as it tells them; null when it does not.
std::unique_ptr<Dl_serinfo, void (*)(void*)> searchedDirectories() {
  void* const program = dlopen(nullptr, RTLD_LAZY);
  Dl_serinfo size;
  std::unique_ptr<Dl_serinfo, void (*)(void*)> directories(nullptr, std::free);
  if (dlinfo(program, RTLD_DI_SERINFOSIZE, &size) == 0) {
    directories.reset(static_cast<Dl_serinfo*>(std::malloc(size.dls_size)));
    if (directories != nullptr && (dlinfo(program, RTLD_DI_SERINFOSIZE, directories.get()) != 0 ||
                                   dlinfo(program, RTLD_DI_SERINFO, directories.get()) != 0)) {
      directories.reset();
    }
  }
  dlclose(program);
  return directories;
}

}  // namespace

const char* whyNotToLoad(const char* library) {
  if (std::strchr(library, '/') != nullptr) {
    return whyNotToLoadFile(library);
  }
  const auto directories = searchedDirectories();
  for (unsigned i = 0; directories != nullptr && i < directories->dls_cnt; ++i) {
    char path[sizeof sLibFullPath];
    const int length = std::snprintf(path, sizeof path, "%s/%s", directories->dls_serpath[i].dls_name, library);
    if (length < static_cast<int>(sizeof path) && access(path, F_OK) == 0) {
      return whyNotToLoadFile(path);
    }
  }
  return nullptr;
}

std::string_view findMappedPath(std::string_view map, std::string_view name) {
  const std::size_t mention = map.find(name);
  if (mention >= map.size()) {
    return {};
  }
  std::size_t begin = mention + 1;
  while (begin > 0 && map[begin - 1] != ' ' && map[begin - 1] != '\0') {
    --begin;
  }
  const std::string_view rest = map.substr(begin);
  return rest.substr(0, rest.find_first_of("\n\r"));
}

char* getmodulepath(void* /*hModule*/, const char* sModule) {
  if (sModule[0] == '/') {
    return newText(sModule);
  }
  char mapName[32];
  std::snprintf(mapName, sizeof mapName, "/proc/%d/maps", getpid());
  std::FILE* const file = std::fopen(mapName, "rb");
  if (file == nullptr) {
    return nullptr;
  }
  std::size_t length = 0;
  char* const map = readAll(file, length);
  std::fclose(file);
  const std::string_view path = map == nullptr ? std::string_view() : findMappedPath({map, length}, sModule);
  char* const copy = path.data() == nullptr ? nullptr : newText(path);
  release(map);
  return copy;
}

bool configurationDeclaresSignerPin(const char* modulePath) {
  char path[sizeof sLibFullPath + sizeof ".conf"];
  std::snprintf(path, sizeof path, "%s.conf", modulePath);
  struct stat status;
  if (stat(path, &status) != 0) {
    LogFunction("stat for %s FAILED errno=%d", CKR_OK, path, errno);
    return false;
  }
  // Opening a pipe or a device could block the load for ever.
  std::FILE* const file = S_ISREG(status.st_mode) ? std::fopen(path, "rb") : nullptr;
  if (file == nullptr) {
    return false;
  }
  const auto size = static_cast<std::size_t>(status.st_size);
  const auto text = static_cast<char*>(tryAllocate(size + 1));
  bool declared = false;
  if (text != nullptr) {
    const std::string_view contents(text, std::fread(text, 1, size, file));
    declared = contents.find(kSignerPinMarker) != std::string_view::npos;
    release(text);
  }
  std::fclose(file);
  return declared;
}
