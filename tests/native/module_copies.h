/// Modules under names and in places of a test's own choice.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <unistd.h>

/// A directory that goes away with everything in it.
class ModuleDirectory {
public:
  ModuleDirectory() {
    std::string name = (std::filesystem::temp_directory_path() / "harlune-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("no temporary directory");
    }
    path_ = std::filesystem::canonical(name);
  }
  ModuleDirectory(const ModuleDirectory&) = delete;
  ModuleDirectory& operator=(const ModuleDirectory&) = delete;
  ~ModuleDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  const std::filesystem::path& path() const { return path_; }
  std::string operator/(const std::string& name) const { return (path_ / name).string(); }

  /// A copy of the module; directories in the name are made.
  std::string copy(const char* module, const std::string& name) const {
    const std::filesystem::path to = path_ / name;
    std::filesystem::create_directories(to.parent_path());
    std::filesystem::copy_file(module, to);
    return to.string();
  }

  std::string write(const std::string& name, const std::string& contents) const {
    const std::filesystem::path to = path_ / name;
    std::ofstream(to, std::ios::binary) << contents;
    return to.string();
  }

private:
  std::filesystem::path path_;
};

class CurrentDirectory {
public:
  explicit CurrentDirectory(const std::filesystem::path& path) : before_(std::filesystem::current_path()) {
    std::filesystem::current_path(path);
  }
  CurrentDirectory(const CurrentDirectory&) = delete;
  CurrentDirectory& operator=(const CurrentDirectory&) = delete;
  ~CurrentDirectory() { std::filesystem::current_path(before_); }

private:
  std::filesystem::path before_;
};

/// Copies the module to a place below the current directory whose full path has `length` characters, goes to the
/// directory above it, and answers the name to load it by from there. What is made goes with the outer directory.
inline std::string copyDeep(const std::string& module, std::size_t length) {
  const std::string name = "deep/module.so";
  std::size_t left = length - std::filesystem::current_path().string().size() - 1 - name.size();
  while (left > 0) {
    // A directory needs two characters, a slash and a letter.
    const std::size_t part = left <= 250 ? left : std::min<std::size_t>(250, left - 2);
    const std::string directory(part - 1, 'd');
    std::filesystem::create_directory(directory);
    if (chdir(directory.c_str()) != 0) {
      throw std::runtime_error("no way down");
    }
    left -= part;
  }
  std::filesystem::create_directory("deep");
  std::filesystem::copy_file(module, name);
  return name;
}

/// Whether the file is mapped into this process.
inline bool isMapped(const std::string& path) {
  std::ifstream map("/proc/self/maps");
  for (std::string line; std::getline(map, line);) {
    if (line.size() > path.size() && line.compare(line.size() - path.size() - 1, std::string::npos, " " + path) == 0) {
      return true;
    }
  }
  return false;
}
