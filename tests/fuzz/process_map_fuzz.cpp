/// The search for a module's path in a process map, against its definition spelled out place by place.
///
///   libp11.so                                                       the name
///   7f00-7f01 r--p 00000000 08:01 42   /usr/lib/libp11.so.2         the map
#include "input.h"
#include "module_files.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>

namespace {

struct Place {
  std::size_t begin;
  std::size_t end;
};

std::optional<Place> expected(const char* map, std::size_t size, const char* name, std::size_t nameSize) {
  for (std::size_t mention = 0; mention < size && nameSize <= size - mention; ++mention) {
    if (nameSize != 0 && std::memcmp(map + mention, name, nameSize) != 0) {
      continue;
    }
    Place place = {0, size};
    for (std::size_t i = 0; i <= mention; ++i) {
      if (map[i] == ' ' || map[i] == '\0') {
        place.begin = i + 1;
      }
    }
    for (std::size_t i = size; i > place.begin; --i) {
      if (map[i - 1] == '\n' || map[i - 1] == '\r') {
        place.end = i - 1;
      }
    }
    return place;
  }
  return std::nullopt;
}

/// A copy without a byte to spare, so that reading beside it is seen.
struct Copy {
  explicit Copy(std::string_view from) : size(from.size()), bytes(new char[from.size()]) {
    from.copy(bytes.get(), size);
  }
  std::string_view view() const { return {bytes.get(), size}; }
  std::size_t size;
  std::unique_ptr<char[]> bytes;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const Copy name(fuzz::cut(rest, '\n'));
  const Copy map(rest);
  const std::string_view path = findMappedPath(map.view(), name.view());
  const std::optional<Place> place = expected(map.bytes.get(), map.size, name.bytes.get(), name.size);
  const bool right = place ? path.data() == map.bytes.get() + place->begin && path.size() == place->end - place->begin
                           : path.data() == nullptr && path.empty();
  if (!right) {
    std::fprintf(stderr, "another path was expected than \"%.*s\"\n", static_cast<int>(path.size()), path.data());
    std::abort();
  }
  return 0;
}
