#include "recording_env.h"

#include "../module/text.h"
#include "trace.h"

#include <gtest/gtest.h>

namespace jvm {
namespace {

std::string simpleName(const std::string& path) {
  return path.substr(path.rfind('/') + 1);
}

std::string arrayDisplayName(const std::string& name) {
  static const std::map<std::string, std::string> primitives = {
      {"[B", "byte[]"}, {"[I", "int[]"}, {"[J", "long[]"}, {"[C", "char[]"}};
  if (const auto found = primitives.find(name); found != primitives.end()) {
    return found->second;
  }
  if (name.size() > 3 && name[0] == '[') {
    return simpleName(name.substr(2, name.size() - 3)) + "[]";
  }
  return simpleName(name);
}

template <typename T, typename Convert>
std::string list(const std::vector<T>& elements, Convert&& convert) {
  std::string result;
  for (const T& element : elements) {
    result += (result.empty() ? "" : ", ") + convert(element);
  }
  return result;
}

const char* exceptionOf(const std::string& function) {
  if (function == "FindClass") {
    return "java/lang/NoClassDefFoundError";
  }
  if (function == "GetFieldID" || function == "GetStaticFieldID") {
    return "java/lang/NoSuchFieldError";
  }
  return function == "GetMethodID" ? "java/lang/NoSuchMethodError" : "java/lang/OutOfMemoryError";
}

}  // namespace

RecordingEnv::RecordingEnv() : classes(kContract), block_(), table_(makeFunctionTable()) {
  block_.functions = &table_;
  block_.owner = this;
}

RecordingEnv& self(JNIEnv* env) {
  return *static_cast<RecordingEnv::Block*>(env)->owner;
}

// --- Objects ---------------------------------------------------------------------------------------------------------

Object* RecordingEnv::create(const Class* type, const std::string& name) {
  const std::string simple = arrayDisplayName(type->name);
  objects_.push_back(Object{type,
                            name.empty() ? simple + "#" + std::to_string(++generated_[simple]) : name,
                            !name.empty(),
                            {},
                            {},
                            {},
                            nullptr});
  return &objects_.back();
}

Object* RecordingEnv::mirror(const Class* type) {
  Object*& known = mirrors_[type];
  if (known == nullptr) {
    known = create(&classes.define("java/lang/Class"), type->name);
    known->denotes = type;
  }
  return known;
}

jobject RecordingEnv::give(Object* object) {
  references_.push_back(Reference{object, false, false});
  return reinterpret_cast<jobject>(&references_.back());
}

jobject RecordingEnv::newLocal(Object* object) {
  if (object == nullptr) {
    return nullptr;
  }
  ++created_;
  references_.push_back(Reference{object, true, false});
  return reinterpret_cast<jobject>(&references_.back());
}

void RecordingEnv::deleteLocal(jobject reference) {
  auto* const r = reinterpret_cast<Reference*>(reference);
  if (r == nullptr) {
    return;
  }
  if (r->deleted) {
    ADD_FAILURE() << "local reference to " << r->object->name << " deleted twice";
    return;
  }
  r->deleted = true;
  ++deleted_;
}

Object* RecordingEnv::target(jobject reference) const {
  const auto* const r = reinterpret_cast<const Reference*>(reference);
  return r == nullptr ? nullptr : r->object;
}

Object* RecordingEnv::require(jobject reference, const char* function) const {
  const auto* const r = reinterpret_cast<const Reference*>(reference);
  if (r == nullptr) {
    ADD_FAILURE() << function << " on null would kill a JVM";
    return nullptr;
  }
  if (r->deleted) {
    ADD_FAILURE() << function << " on a deleted reference to " << r->object->name;
  }
  return r->object;
}

void RecordingEnv::adopt(Object* owner, const std::string& role, Object* child) {
  if (child != nullptr && !child->named && owner->named) {
    child->name = owner->name + role;
    child->named = true;
    if (const auto* const elements = std::get_if<Objects>(&child->contents)) {
      for (std::size_t i = 0; i < elements->size(); ++i) {
        adopt(child, "[" + std::to_string(i) + "]", (*elements)[i]);
      }
    }
    for (const auto& [field, value] : child->fields) {
      adopt(child, "." + field, value.object);
    }
  }
}

jbyteArray RecordingEnv::bytes(const std::string& name, const std::string& contents) {
  Object* const object = create(&classes.define("[B"), name);
  object->contents = Bytes(contents.begin(), contents.end());
  return static_cast<jbyteArray>(give(object));
}

jintArray RecordingEnv::ints(const std::string& name, const Ints& contents) {
  Object* const object = create(&classes.define("[I"), name);
  object->contents = contents;
  return static_cast<jintArray>(give(object));
}

jlongArray RecordingEnv::longs(const std::string& name, const Longs& contents) {
  Object* const object = create(&classes.define("[J"), name);
  object->contents = contents;
  return static_cast<jlongArray>(give(object));
}

jcharArray RecordingEnv::chars(const std::string& name, const std::u16string& contents) {
  Object* const object = create(&classes.define("[C"), name);
  object->contents = Chars(contents.begin(), contents.end());
  return static_cast<jcharArray>(give(object));
}

jobjectArray RecordingEnv::array(const std::string& name, const std::string& elementClass,
                                 const std::vector<jobject>& elements) {
  Object* const object = create(&classes.define("[L" + elementClass + ";"), name);
  Objects targets;
  for (jobject element : elements) {
    adopt(object, "[" + std::to_string(targets.size()) + "]", target(element));
    targets.push_back(target(element));
  }
  object->contents = targets;
  return static_cast<jobjectArray>(give(object));
}

jstring RecordingEnv::string(const std::string& name, const std::u16string& contents) {
  Object* const object = create(&classes.define("java/lang/String"), name);
  object->contents = contents;
  return static_cast<jstring>(give(object));
}

jobject RecordingEnv::integer(jint value) {
  Object* const object = create(&classes.define("java/lang/Integer"));
  object->constructedWith = {Value{'I', value, nullptr}};
  return give(object);
}

jobject RecordingEnv::boolean(bool value) {
  Object* const object = create(&classes.define("java/lang/Boolean"));
  object->constructedWith = {Value{'Z', value ? 1 : 0, nullptr}};
  return give(object);
}

jobject RecordingEnv::object(const std::string& name, const std::string& className) {
  return give(create(&classes.define(className), name));
}

jclass RecordingEnv::classOf(const std::string& className) {
  return static_cast<jclass>(give(mirror(&classes.define(className))));
}

jobject RecordingEnv::session(const std::string& name, jlong handle) {
  return set(object(name, "velnor/nat/NativeSession"), "m_sessionHandle", handle);
}

jobject RecordingEnv::slot(const std::string& name, jint slotID) {
  return set(object(name, "velnor/nat/NativeSlot"), "m_slotID", slotID);
}

jobject RecordingEnv::mechanism(const std::string& name, jint code, jobject parameter) {
  return set(set(object(name, "velnor/Mechanism"), "mechanism", code), "parameter", parameter);
}

jobject RecordingEnv::attribute(jint type, jobject value) {
  return set(set(object("", "velnor/Attribute"), "type", type), "value", value);
}

namespace {

const Member* fieldOf(const Class* type, const std::string& name) {
  for (const Class* c = type; c != nullptr; c = c->super) {
    for (const Member& member : c->members) {
      if (member.isField() && member.name == name) {
        return &member;
      }
    }
  }
  ADD_FAILURE() << type->name << " has no field " << name;
  return nullptr;
}

}  // namespace

jobject RecordingEnv::set(jobject object, const std::string& field, std::int64_t number) {
  Object* const o = target(object);
  if (const Member* const member = fieldOf(o->type, field)) {
    EXPECT_NE(member->kind(), 'L') << "a number for " << o->type->name << "." << field;
    o->fields[field] = Value{member->kind(), number, nullptr};
  }
  return object;
}

jobject RecordingEnv::set(jobject object, const std::string& field, jobject value) {
  Object* const o = target(object);
  if (const Member* const member = fieldOf(o->type, field)) {
    EXPECT_EQ(member->kind(), 'L') << "an object for " << o->type->name << "." << field;
    o->fields[field] = Value{'L', 0, target(value)};
    adopt(o, "." + field, target(value));
  }
  return object;
}

// --- Texts -----------------------------------------------------------------------------------------------------------

std::string RecordingEnv::brief(const Value& value) const {
  if (value.kind == 'Z') {
    return value.number == 0 ? "false" : value.number == 1 ? "true" : "boolean " + std::to_string(value.number);
  }
  if (value.kind != 'L') {
    return std::to_string(value.number);
  }
  if (value.object == nullptr) {
    return "null";
  }
  const Object& object = *value.object;
  if (!object.named) {
    if (const auto* const text = std::get_if<std::u16string>(&object.contents)) {
      return text::quoted(toUtf8(*text));
    }
    if (object.type->name == "java/lang/Integer" || object.type->name == "java/lang/Boolean" ||
        object.type->name == "velnor/CryptokiException") {
      return full(&object);
    }
  }
  return object.name;
}

std::string RecordingEnv::full(const Object* object, int depth) const {
  constexpr int kDeepest = 6;
  if (object == nullptr) {
    return "null";
  }
  const auto value = [this, depth](const Value& v) {
    return v.kind == 'L' && depth < kDeepest ? full(v.object, depth + 1) : brief(v);
  };
  const auto number = [](auto n) { return std::to_string(n); };
  if (object->denotes != nullptr || depth >= kDeepest) {
    return object->name;
  }
  if (const auto* const b = std::get_if<Bytes>(&object->contents)) {
    return text::bytes(b->data(), b->size());
  }
  if (const auto* const i = std::get_if<Ints>(&object->contents)) {
    return "[" + list(*i, number) + "]";
  }
  if (const auto* const l = std::get_if<Longs>(&object->contents)) {
    return "[" + list(*l, number) + "]";
  }
  if (const auto* const o = std::get_if<Objects>(&object->contents)) {
    return "[" + list(*o, [this, depth](const Object* e) { return full(e, depth + 1); }) + "]";
  }
  if (const auto* const s = std::get_if<std::u16string>(&object->contents)) {
    return text::quoted(toUtf8(*s));
  }
  if (!object->constructedWith.empty()) {
    return simpleName(object->type->name) + "(" + list(object->constructedWith, value) + ")";
  }
  return object->name;
}

std::string RecordingEnv::show(jobject object) const {
  return full(target(object));
}

std::string RecordingEnv::bytesOf(jobject array) const {
  const Object* const object = target(array);
  const auto* const contents = object == nullptr ? nullptr : std::get_if<Bytes>(&object->contents);
  if (contents == nullptr) {
    ADD_FAILURE() << "a byte[] was expected instead of " << full(object);
    return "";
  }
  return std::string(contents->begin(), contents->end());
}

std::string RecordingEnv::nameOf(jobject reference) const {
  return brief(Value{'L', 0, target(reference)});
}

// --- The class contract ----------------------------------------------------------------------------------------------

void RecordingEnv::declareMissing(const std::string& className) {
  Class* const type = classes.find(className);
  ASSERT_NE(type, nullptr) << className << " is not in the contract";
  type->missing = true;
}

void RecordingEnv::declareMissing(const std::string& className, const std::string& member,
                                  const std::string& signature) {
  Class* const type = classes.find(className);
  ASSERT_NE(type, nullptr) << className << " is not in the contract";
  int count = 0;
  for (Member& candidate : type->members) {
    if (candidate.name == member && (signature.empty() || candidate.signature == signature)) {
      candidate.missing = true;
      ++count;
    }
  }
  ASSERT_GT(count, 0) << className << " has no " << member << " " << signature;
}

// --- Journal and failures --------------------------------------------------------------------------------------------

void RecordingEnv::record(const char* function, const std::string& arguments) {
  note(arguments.empty() ? function : std::string(function) + " " + arguments);
  ++calls_;
  ++callsOf_[function];
}

bool RecordingEnv::enter(const char* function, const std::string& arguments) {
  record(function, arguments);
  const int count = callsOf_[function];
  std::optional<Leaving> leaving;
  if (failIndex_ == calls_) {
    leaving = failIndexLeaving_;
    failIndex_ = 0;
  }
  if (const auto planned = failures_.find(function); planned != failures_.end()) {
    if (const auto hit = planned->second.find(count); hit != planned->second.end()) {
      leaving = hit->second;
      planned->second.erase(hit);
      if (planned->second.empty()) {
        failures_.erase(planned);
      }
    }
  }
  if (!leaving) {
    return false;
  }
  lastFailed_ = function;
  refuse(*leaving == Leaving::Exception ? exceptionOf(function) : "", "on purpose");
  return true;
}

void RecordingEnv::refuse(const std::string& exception, const std::string& message) {
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (!lines_.empty()) {
      lines_.back() += " -> null";
    }
  }
  if (!exception.empty()) {
    raise(exception, message);
  }
}

void RecordingEnv::failNth(const std::string& function, int n, Leaving leaving) {
  failures_[function][callsOf_[function] + n] = leaving;
}

void RecordingEnv::failCall(int index, Leaving leaving) {
  failIndex_ = index;
  failIndexLeaving_ = leaving;
}

int RecordingEnv::calls(const std::string& function) const {
  const auto found = callsOf_.find(function);
  return found == callsOf_.end() ? 0 : found->second;
}

std::vector<std::string> RecordingEnv::journal() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return lines_;
}

std::string RecordingEnv::trace() const {
  return joined(folded(journal()));
}

void RecordingEnv::note(const std::string& line) {
  const std::lock_guard<std::mutex> lock(mutex_);
  lines_.push_back(line);
}

void RecordingEnv::clearJournal() {
  const std::lock_guard<std::mutex> lock(mutex_);
  lines_.clear();
}

void RecordingEnv::clear() {
  clearJournal();
  callsOf_.clear();
  failures_.clear();
  lastFailed_.clear();
  calls_ = 0;
  failIndex_ = 0;
}

// --- Exceptions ------------------------------------------------------------------------------------------------------

void RecordingEnv::raise(const std::string& className, const std::string& message) {
  Object* const exception = create(&classes.define(className));
  Object* const text = create(&classes.define("java/lang/String"));
  text->contents = fromUtf8(message);
  exception->constructedWith = {Value{'L', 0, text}};
  raise(exception);
}

void RecordingEnv::raise(Object* exception) {
  pending_ = exception;
  thrown_.push_back(full(exception));
}

std::string RecordingEnv::pendingClass() const {
  return pending_ == nullptr ? "" : pending_->type->name;
}

std::string RecordingEnv::pending() const {
  return pending_ == nullptr ? "" : full(pending_);
}

std::optional<Report> RecordingEnv::pendingReport() const {
  if (pendingClass() != "velnor/CryptokiException" || pending_->constructedWith.size() != 3) {
    return std::nullopt;
  }
  const auto text = [](const Value& value) {
    const auto* const s = value.object == nullptr ? nullptr : std::get_if<std::u16string>(&value.object->contents);
    return s == nullptr ? std::string("null") : toUtf8(*s);
  };
  const auto& arguments = pending_->constructedWith;
  return Report{text(arguments[0]), static_cast<jint>(arguments[1].number), text(arguments[2])};
}

}  // namespace jvm
