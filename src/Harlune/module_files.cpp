#include "module_files.h"

#include "harlune.h"
#include "memory.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
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

}  // namespace

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
