#include "world.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace registry {
namespace {

namespace fs = std::filesystem;

jvm::RecordingEnv* listening = nullptr;

void listen(const char* line) {
  if (listening != nullptr) {
    listening->note(line);
  }
}

/// A copy of the module of the callback family with a configuration file beside it, so that loading it takes every way
/// there is. Removed at the end of the process.
class PrivateModule {
public:
  PrivateModule()
      : directory_(fs::temp_directory_path() / ("harlune-faults-" + std::to_string(getpid()))),
        path_(directory_ / "family" / "libsissp11-faults.so") {
    fs::create_directories(path_.parent_path());
    fs::copy_file(modules::kSissp11, path_, fs::copy_options::overwrite_existing);
    std::ofstream(path_.string() + ".conf") << "DsPinIsCNSPin=true\n";
    original_ = fs::current_path();
  }
  PrivateModule(const PrivateModule&) = delete;
  PrivateModule& operator=(const PrivateModule&) = delete;
  ~PrivateModule() {
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
  }
  std::string path() const { return path_.string(); }
  std::string relativePath() const { return fs::relative(path_, directory_).string(); }
  void enterDirectory() const { fs::current_path(directory_); }
  void leaveDirectory() const { fs::current_path(original_); }

private:
  fs::path directory_;
  fs::path path_;
  fs::path original_;
};

const PrivateModule& privateModule() {
  static const PrivateModule module;
  return module;
}

/// Mapped for as long as the process lives: a test maps and unmaps it thousands of times otherwise.
const char* keptModulePath() {
  static const std::string path = privateModule().path();
  static const ScriptedModule kept(path.c_str());
  return kept.path();
}

constexpr char kParameters[] = "velnor/params/";

}  // namespace

World::World(const Subject& tested, Stage stage) : token(keptModulePath()), subject(tested), stage_(stage) {
  static const ScriptedModule keptToo(modules::kScripted);
  listening = &env;
  token.listen(listen);
  if (stage != Stage::Unbound) {
    load(token.path());
  }
  if (stage == Stage::Ready) {
    prepare();
  }
  if (subject.variant == "byRelativePath") {
    privateModule().enterDirectory();
  }
  makeArguments();
  env.clear();
  token.clearJournal();
}

void World::prepare() {
  initialize();
  CK_SESSION_HANDLE opened = 0;
  expectOk(functionList->C_OpenSession(kSlot, CKF_SERIAL_SESSION | CKF_RW_SESSION, nullptr, nullptr, &opened));
  EXPECT_EQ(opened, hSession);
  setPins();
  if (subject.preparation.before != nullptr) {
    subject.preparation.before(*this);
  }
  for (const std::string& answer : subject.preparation.answers) {
    token.answer(answer);
  }
}

World::~World() {
  listening = nullptr;
  if (subject.variant == "byRelativePath") {
    privateModule().leaveDirectory();
  }
}

void World::run() {
  const Method& method = *subject.method;
  const std::string className = method.className();
  const jobject self = method.signature.isStatic      ? env.classOf("velnor/nat/" + className)
                       : className == "NativeSlot"    ? env.slot("slot", slotID_)
                       : className == "NativeSession" ? env.session("session", sessionHandle_)
                                                      : cryptoki;
  result = method.signature.call(jni, self, arguments_);
}

void World::nameHandle(jlong handle) {
  slotID_ = static_cast<jint>(handle);
  sessionHandle_ = handle;
  if (subject.method->handle == Handle::SessionArgument) {
    arguments_.front().j = handle;
  }
}

/// The token comes with PINs too short to be recognised in memory.
void World::setPins() {
  const std::string user = kUserPin;
  const std::string officer = kSOPin;
  expectOk(functionList->C_SetPIN(hSession, bytesOf("1234"), 4, bytesOf(user), user.size()));
  expectOk(functionList->C_Login(hSession, CKU_SO, bytesOf("87654321"), 8));
  expectOk(functionList->C_SetPIN(hSession, bytesOf("87654321"), 8, bytesOf(officer), officer.size()));
  expectOk(functionList->C_Logout(hSession));
}

void World::login(CK_USER_TYPE user) {
  const std::string pin = user == CKU_SO ? kSOPin : kUserPin;
  expectOk(functionList->C_Login(hSession, user, bytesOf(pin), pin.size()));
}

// --- Arguments -------------------------------------------------------------------------------------------------------

std::string World::secret(const std::string& text) {
  secrets_.push_back(text);
  return text;
}

bool World::follows(std::size_t index, std::size_t distance, Kind kind) const {
  return index >= distance && subject.method->signature.parameters[index - distance] == kind;
}

void World::makeArguments() {
  for (std::size_t i = 0; i < subject.method->signature.parameters.size(); ++i) {
    arguments_.push_back(makeArgument(i));
  }
}

jvalue World::makeArgument(std::size_t index) {
  const std::vector<Kind>& kinds = subject.method->signature.parameters;
  jvalue value = {.j = 0};
  switch (kinds[index]) {
  case Kind::Boolean:
    value.z = subject.flag ? JNI_TRUE : JNI_FALSE;
    break;
  case Kind::Byte:
    value.b = CKU_USER;
    break;
  case Kind::Int:
    value.i = makeInt(index);
    break;
  case Kind::Long: {
    const bool isSession = index == 0 && subject.method->handle == Handle::SessionArgument;
    value.j = static_cast<jlong>(isSession ? hSession : hSecretKey);
    break;
  }
  case Kind::Object:
    value.l = subject.method->className() == "NativeSession" ? makeMechanism() : nullptr;
    break;
  case Kind::String: {
    if (subject.variant == "withoutPin") {
      break;
    }
    const std::size_t n = strings_++;
    const bool loads = subject.method->reportName == "loadCryptokiLibrary";
    value.l =
        env.string("string" + std::to_string(n),
                   loads ? (subject.variant == "byRelativePath" ? privateModule().relativePath() : token.path())
                         : secret(n < subject.preparation.strings.size() ? subject.preparation.strings[n] : kUserPin));
    break;
  }
  case Kind::ByteArray:
    value.l = makeBytes(index);
    break;
  case Kind::IntArray:
    value.l = env.ints("types", {CKA_VALUE, CKA_CLASS, CKA_SENSITIVE, CKA_LABEL});
    break;
  case Kind::ObjectArray:
    value.l = makeTemplate();
    break;
  case Kind::Void:
  case Kind::Class:
  case Kind::LongArray:
    ADD_FAILURE() << subject.label() << ": no argument can be made for parameter " << index;
    break;
  }
  return value;
}

jint World::makeInt(std::size_t index) {
  if (follows(index, 1, Kind::ByteArray)) {
    return kOffset;
  }
  if (follows(index, 2, Kind::ByteArray)) {
    const bool output = subject.preparation.fillsLastArray;
    return output ? jint{16} : static_cast<jint>(subject.preparation.bytes.at(arrays_ - 1).size());
  }
  const std::size_t n = ints_++;
  return n < subject.preparation.ints.size() ? subject.preparation.ints[n] : 0;
}

jbyteArray World::makeBytes(std::size_t index) {
  const std::vector<Kind>& kinds = subject.method->signature.parameters;
  const bool last =
      std::find(kinds.begin() + static_cast<std::ptrdiff_t>(index) + 1, kinds.end(), Kind::ByteArray) == kinds.end();
  if (last && (subject.method->fillsCallersArray() || subject.preparation.fillsLastArray)) {
    return env.bytes("output", std::string(kOutputSize, '.'));
  }
  const std::size_t n = arrays_++;
  if (n >= subject.preparation.bytes.size()) {
    ADD_FAILURE() << subject.label() << " reads a byte[] that its row gives no contents for";
    return nullptr;
  }
  const bool hasOffset = index + 1 < kinds.size() && kinds[index + 1] == Kind::Int;
  const std::string margin = hasOffset ? std::string(kOffset, '#') : "";
  return env.bytes("input" + std::to_string(n), margin + secret(subject.preparation.bytes[n]) + margin);
}

/// One value of every kind; the token's secret key matches.
jobjectArray World::makeTemplate() {
  const std::vector<jobject> elements = {
      env.attribute(CKA_CLASS, env.integer(CKO_SECRET_KEY)),
      env.attribute(CKA_SENSITIVE, env.boolean(false)),
      env.attribute(CKA_LABEL, env.string("", secret("secret"))),
      env.attribute(CKA_VALUE, env.bytes(secret("0123456789abcdef"))),
  };
  EXPECT_EQ(elements.size(), kTemplateSize);
  return env.attributes("template" + std::to_string(templates_++), elements);
}

/// The class that the conversion of a mechanism looks up for its parameter; empty when it wants plain bytes or nothing.
std::string World::parameterClassOf(jint code) {
  static std::map<jint, std::string> known;
  const auto [entry, isNew] = known.try_emplace(code);
  if (isNew) {
    // The conversion looks up two fields of the mechanism, then the class, then a field of that: there it ends.
    env.failNth("GetFieldID", 3);
    Java_velnor_nat_NativeSession_J_1SignRecoverInit(jni, env.session("session", 0),
                                                     env.mechanism("probe", code, env.bytes("12345678")), 0);
    env.clearException();
    const std::string wanted = std::string("FindClass ") + kParameters;
    for (const std::string& line : env.journal()) {
      if (entry->second.empty() && line.rfind(wanted, 0) == 0) {
        entry->second = line.substr(line.find(' ') + 1, line.find(" -> ") - line.find(' ') - 1);
      }
    }
  }
  return entry->second;
}

jobject World::makeMechanism() {
  if (stage_ != Stage::Ready) {
    return env.mechanism("mechanism", subject.mechanism);  // nobody gets to look at a parameter
  }
  const std::string className = parameterClassOf(subject.mechanism);
  return env.mechanism("mechanism", subject.mechanism,
                       className.empty() ? env.bytes("parameter", secret("IV of 8+"))
                                         : makeParameter(className, "parameter"));
}

/// An object with something in every field, whatever its class.
jobject World::makeParameter(const std::string& className, const std::string& name) {
  constexpr char kOlder[] = "Lquadrel/Pkcs11";
  const jobject object = env.object(name, className);
  for (const jvm::Member& field : env.classes.define(className).members) {
    const std::string child = name + "." + field.name;
    const std::string& signature = field.signature;
    if (!field.isField()) {
      continue;
    }
    if (field.kind() != 'L') {
      env.set(object, field.name, 8);
    } else if (signature == "[B") {
      env.set(object, field.name, env.bytes(child, secret("bytes of " + field.name)));
    } else if (signature == "[C") {
      const std::string text = "chars of " + field.name;
      env.set(object, field.name, env.chars(child, jvm::fromUtf8(text)));
      std::string wide;
      for (const char c : text) {
        wide += {c, '\0'};
      }
      secret(wide);
    } else if (signature == "Ljava/lang/Boolean;") {
      env.set(object, field.name, env.boolean(true));
    } else {
      const bool older = signature.rfind(kOlder, 0) == 0;
      const std::size_t begin = older ? sizeof kOlder - 1 : 1;
      const std::string inner = signature.substr(begin, signature.size() - begin - 1);
      env.set(object, field.name, makeParameter(older ? kParameters + inner : inner, child));
    }
  }
  return object;
}

}  // namespace registry
