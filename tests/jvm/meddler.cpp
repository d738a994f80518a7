/// Comes between a program and the files that it makes, in front of the C library. MEDDLER is a list of words with
/// commas between them: `NAME=ERRNO` lets the call fail, `appear` makes somebody else's file in the last moment before
/// a name is given, `tell` writes the mode of each unfinished file to stderr when it is made.
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// What stands behind the word in MEDDLER; null when the word is not there.
const char* wish(const char* word) {
  const char* wishes = std::getenv("MEDDLER");
  const std::size_t length = std::strlen(word);
  while (wishes != nullptr && *wishes != '\0') {
    if (std::strncmp(wishes, word, length) == 0 && std::strchr("=,", wishes[length]) != nullptr) {
      return wishes + length;
    }
    wishes = std::strchr(wishes, ',');
    wishes = wishes == nullptr ? nullptr : wishes + 1;
  }
  return nullptr;
}

bool fails(const char* name) {
  const char* const code = wish(name);
  if (code != nullptr) {
    errno = std::atoi(code + 1);
  }
  return code != nullptr;
}

template <typename Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void letAppear(const char* path) {
  if (wish("appear") == nullptr) {
    return;
  }
  const int file = ::open(path, O_WRONLY | O_CREAT | O_EXCL, 0644);
  if (file >= 0 && ::write(file, "theirs", 6) == 6) {
    ::close(file);
  }
}

}  // namespace

extern "C" {

int link(const char* from, const char* to) noexcept {
  letAppear(to);
  return fails("link") ? -1 : next<int(const char*, const char*)>("link")(from, to);
}

int rename(const char* from, const char* to) noexcept {
  letAppear(to);
  return fails("rename") ? -1 : next<int(const char*, const char*)>("rename")(from, to);
}

int fsync(int file) {
  return fails("fsync") ? -1 : next<int(int)>("fsync")(file);
}

int chmod(const char* path, mode_t mode) noexcept {
  return fails("chmod") ? -1 : next<int(const char*, mode_t)>("chmod")(path, mode);
}

int chown(const char* path, uid_t owner, gid_t group) noexcept {
  return fails("chown") ? -1 : next<int(const char*, uid_t, gid_t)>("chown")(path, owner, group);
}

int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  if ((flags & O_EXCL) != 0 && std::strstr(path, "/.velnor.") != nullptr && wish("tell") != nullptr) {
    std::fprintf(stderr, "made with %o\n", mode);
  }
  return next<int(const char*, int, ...)>("open64")(path, flags, mode);
}
}
