/// Mechanisms and their parameters: any code, any number in every field, arrays of any length, nulls anywhere.
///
///   J_SignRecoverInit            the method
///   0x3A1                        the mechanism's code; a word that is no number chooses one that has a parameter
///   object                       null: no parameter; other: one of another class, where the library tests for that
///   bytes:20 01                  the fields in the order of their declaration; behind an inner object, its own fields
///   12
#include "input.h"
#include "mechanism_parameters.h"
#include "world.h"

namespace {

using fuzz::cut;

constexpr CK_MECHANISM_TYPE kLastCode = 0x1100;

std::vector<CK_MECHANISM_TYPE> codesWithParameters() {
  std::vector<CK_MECHANISM_TYPE> codes;
  for (CK_MECHANISM_TYPE code = 0; code < kLastCode; ++code) {
    if (findParameterKind(code) != nullptr) {
      codes.push_back(code);
    }
  }
  return codes;
}

CK_MECHANISM_TYPE codeOf(std::string_view word) {
  static const std::vector<CK_MECHANISM_TYPE> known = codesWithParameters();
  const bool isNumber = !word.empty() && (word.front() == '-' || (word.front() >= '0' && word.front() <= '9'));
  return isNumber ? widen(static_cast<jint>(fuzz::number(word))) : fuzz::oneOf(known, word);
}

/// The class of a kind's parameter; empty when it is a plain byte[].
std::string classOf(const ParameterKind& kind) {
  for (const Step& step : kind.steps) {
    if (step.action == Step::Action::FindClass) {
      return step.name;
    }
  }
  return "";
}

bool testsTheClass(const ParameterKind& kind) {
  for (const Step& step : kind.steps) {
    if (step.action == Step::Action::RequireInstance) {
      return true;
    }
  }
  return false;
}

jobject makeObject(fuzz::World& world, const std::string& className, std::string_view& rest);

jobject makeField(fuzz::World& world, const std::string& signature, std::string_view& rest) {
  constexpr std::string_view kOlder = "Lquadrel/Pkcs11";
  std::string_view line = cut(rest, '\n');
  if (line == "null") {
    return nullptr;
  }
  if (signature == "Ljava/lang/Boolean;") {
    return world.env.boolean(line == "true");
  }
  if (signature[0] == 'L') {
    const bool older = signature.compare(0, kOlder.size(), kOlder) == 0;
    const std::size_t begin = older ? kOlder.size() : 1;
    const std::string inner = signature.substr(begin, signature.size() - begin - 1);
    return makeObject(world, older ? "velnor/params/" + inner : inner, rest);
  }
  const std::string_view word = cut(line, ' ');
  const std::string contents = fuzz::sized(word, line);
  return signature == "[C" ? static_cast<jobject>(world.env.chars("", fuzz::units(contents)))
                           : static_cast<jobject>(world.env.bytes(contents));
}

jobject makeObject(fuzz::World& world, const std::string& className, std::string_view& rest) {
  const jobject object = world.env.object("", className);
  for (const jvm::Member& field : world.env.classes.define(className).members) {
    if (!field.isField()) {
      continue;
    }
    if (field.kind() == 'L') {
      world.env.set(object, field.name, makeField(world, field.signature, rest));
    } else {
      const auto value = fuzz::number(cut(rest, '\n'));
      world.env.set(object, field.name,
                    field.kind() == 'B' ? std::int64_t{static_cast<jbyte>(value)} : static_cast<jint>(value));
    }
  }
  return object;
}

jobject makeParameter(fuzz::World& world, CK_MECHANISM_TYPE code, std::string_view rest) {
  const std::string_view form = cut(rest, '\n');
  if (form == "null") {
    return nullptr;
  }
  const ParameterKind* const kind = findParameterKind(code);
  const bool anything = kind == nullptr || testsTheClass(*kind);
  if (anything && form == "other") {
    return makeObject(world, "velnor/params/MACGENERALParams", rest);
  }
  const std::string className = kind == nullptr ? "" : classOf(*kind);
  if (className.empty()) {
    std::string_view line = cut(rest, '\n');
    const std::string_view word = cut(line, ' ');
    return world.env.bytes(fuzz::sized(word, line));
  }
  return makeObject(world, className, rest);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const auto methods = fuzz::methodsWhere(
      [](const auto& m) { return m.className() == "NativeSession" && m.takes(registry::Kind::Object); });
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  const registry::Method& method = fuzz::choose(methods, cut(rest, '\n'));
  const CK_MECHANISM_TYPE code = codeOf(cut(rest, '\n'));
  fuzz::World world;
  fuzz::Arguments arguments;
  const jobject parameter = makeParameter(world, code, rest);
  arguments.mechanism = world.env.mechanism("mechanism", narrow(code), parameter);
  arguments.input = world.env.bytes("input0", "WRAP:key");
  arguments.length = 8;
  arguments.output = world.env.bytes("output", std::string(64, '.'));
  arguments.handle = static_cast<jlong>(fuzz::World::hSecretKey);
  world.call(method, arguments);
  if (parameter == nullptr && findParameterKind(code) != nullptr && world.env.thrown().empty()) {
    fuzz::found("a missing parameter was not refused");
  }
  return 0;
}
