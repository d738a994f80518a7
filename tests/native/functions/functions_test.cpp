#include "functions_test.h"

#include <fstream>

namespace functions {

const std::vector<Line>& lines() {
  static const std::vector<Line> all = [] {
    std::vector<Line> result;
    std::ifstream file(HARLUNE_FUNCTIONS);
    for (std::string text; std::getline(file, text);) {
      if (const std::size_t blank = text.find(' '); !text.empty() && text.front() != '#') {
        result.push_back({text.substr(0, blank), text.substr(blank + 1)});
      }
    }
    return result;
  }();
  return all;
}

std::string shapeOf(const std::string& function) {
  for (const Line& line : lines()) {
    if (line.function == function) {
      return line.shape;
    }
  }
  ADD_FAILURE() << function << " is not in functions.txt";
  return "";
}

jint indexOf(const std::string& function) {
  jint index = 0;
  const std::string shape = shapeOf(function);
  for (const Line& line : lines()) {
    if (line.function == function) {
      break;
    }
    index += line.shape == shape ? 1 : 0;
  }
  return index;
}

jint sizeOf(const std::string& shape) {
  jint size = 0;
  for (const Line& line : lines()) {
    size += line.shape == shape ? 1 : 0;
  }
  return size;
}

}  // namespace functions

FunctionsTest::FunctionsTest() {
  puppet::functions();
  puppet::reset();
}

jlong FunctionsTest::load(const std::string& path) {
  const jbyteArray jText = env.bytes("", std::string(300, '\0'));
  const jlong id = NATIVE(load)(jni, nullptr, env.bytes("", path), jText);
  EXPECT_GT(id, 0) << path << ": " << env.bytesOf(jText).c_str();
  env.clear();
  return id;
}

std::string FunctionsTest::copy(const char* file, const std::string& name) {
  return directory_.copy(file, name + "-" + std::to_string(++copies_) + ".so");
}

jlong FunctionsTest::puppetModule() {
  static const jlong id = [this] {
    static puppet::Module own(copy(modules::kPuppetWithInterfaces));
    own.list(puppet::functions());
    static CK_INTERFACE interface = {};
    static CK_UTF8CHAR name[] = "PKCS 11";
    interface = {name, &puppet::functions(), 0};
    own.interface([](CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR ppInterface, CK_FLAGS) {
      *ppInterface = &interface;
      return CKR_OK;
    });
    return load(own.path());
  }();
  return id;
}
