/// Attribute templates: any types, values and lengths. The module must be given exactly what Java gave.
///
///   J_GenerateKeyPair            the method
///   0x3 string Schlüssel         an attribute: type, kind of value, value
///   0x122 bytes:300 01           ... repeated to 300 bytes
///   null                         a null element
///   ==                           the next template
///   none                         there is no template
///   ? 0x3 0x11                   the attributes to read
#include "../native/module/describe.h"
#include "input.h"
#include "world.h"

namespace {

using fuzz::cut;
using fuzz::number;

/// A template as Java gives it and, worked out apart from the library, as the module must be given it.
struct Template {
  std::vector<jobject> elements;
  std::vector<CK_ATTRIBUTE> entries;
  std::vector<std::string> values;
  bool isNull = false;
  bool hasNullElement = false;

  /// The template as the module's journal shows it.
  std::string shown() {
    static CK_ATTRIBUTE none;
    for (std::size_t i = 0; i < entries.size(); ++i) {
      if (entries[i].pValue != nullptr) {
        entries[i].pValue = values[i].data();
      }
    }
    return scripted::valueTemplate(isNull ? nullptr : entries.empty() ? &none : entries.data(), entries.size(), false);
  }
};

void add(fuzz::World& world, Template& to, std::string_view line) {
  constexpr std::size_t kNumberSize = 8;
  const auto type = static_cast<jint>(number(cut(line, ' ')));
  const std::string_view kind = cut(line, ' ');
  jobject value = nullptr;
  std::string bytes;
  std::size_t length = 0;
  if (kind == "int") {
    const auto value32 = static_cast<std::uint32_t>(number(line));
    value = world.env.integer(static_cast<jint>(value32));
    bytes.assign(kNumberSize, '\0');
    for (unsigned i = 0; i < 4; ++i) {
      bytes[i] = static_cast<char>(static_cast<unsigned char>(value32 >> (8 * i)));
    }
    length = kNumberSize;
  } else if (kind == "boolean") {
    value = world.env.boolean(line == "true");
    bytes.assign(1, line == "true" ? '\1' : '\0');
    length = 1;
  } else if (kind.substr(0, 6) == "string") {
    const std::u16string text = fuzz::units(fuzz::sized(kind, line));
    value = world.env.string("", text);
    bytes = jvm::toModifiedUtf8(text);
    length = text.size();
  } else if (kind != "null") {
    bytes = fuzz::sized(kind, line);
    value = world.env.bytes(bytes);
    length = bytes.size();
  }
  static char some;
  to.entries.push_back({static_cast<CK_ULONG>(static_cast<CK_LONG>(type)), value == nullptr ? nullptr : &some, length});
  to.values.push_back(bytes);
  to.elements.push_back(world.env.attribute(type, value));
}

jobjectArray toJava(fuzz::World& world, const Template& from, const char* name) {
  return from.isNull ? nullptr : world.env.attributes(name, from.elements);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto methods = fuzz::methodsWhere([](const auto& m) { return m.takes(registry::Kind::ObjectArray); });
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const registry::Method& method = fuzz::choose(methods, cut(rest, '\n'));
  fuzz::World world;
  Template templates[2];
  unsigned current = 0;
  jvm::Ints types;
  for (const std::string_view line : fuzz::split(rest, '\n')) {
    Template& to = templates[current];
    if (line == "==") {
      current = 1;
    } else if (line == "none") {
      to.isNull = true;
    } else if (line == "null") {
      to.elements.push_back(nullptr);
      to.hasNullElement = true;
    } else if (!line.empty() && line.front() == '?') {
      for (const std::string_view word : fuzz::split(line.substr(1), ' ')) {
        types.push_back(static_cast<jint>(number(word)));
      }
    } else {
      add(world, to, line);
    }
  }
  for (Template& one : templates) {
    if (one.isNull) {
      one = Template();
      one.isNull = true;
    }
  }
  fuzz::Arguments arguments;
  arguments.templates = {toJava(world, templates[0], "template0"), toJava(world, templates[1], "template1")};
  arguments.types = world.env.ints("types", types);
  arguments.mechanism = world.env.mechanism("mechanism", CKM_SHA_1);
  arguments.input = world.env.bytes("input0", "WRAP:key");
  arguments.length = 8;
  arguments.handle = static_cast<jlong>(fuzz::World::hSecretKey);
  world.call(method, arguments);

  const bool pair = method.javaName() == "J_GenerateKeyPair";
  const bool refused = templates[0].hasNullElement || (pair && templates[1].hasNullElement);
  const std::vector<std::string> calls = world.moduleLines();
  if (refused) {
    if (!calls.empty() || world.env.thrown().empty()) {
      fuzz::found("a null element was not refused");
    }
    return 0;
  }
  if (calls.empty()) {
    fuzz::found("a good template did not reach the module: " + world.env.pending());
  }
  const std::string expected = pair ? " public=" + templates[0].shown() + " private=" + templates[1].shown()
                                    : " template=" + templates[0].shown();
  if (calls.front().find(expected + " -> ") == std::string::npos) {
    fuzz::found("expected" + expected + "\nbut the module was given " + calls.front());
  }
  return 0;
}
