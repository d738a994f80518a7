/// A JNIEnv that models the Java side, records every call as one readable line, and fails where a test wants it to.
///
///   RecordingEnv env;
///   jbyteArray data = env.bytes("data", "message");
///   jobject session = env.session("session", 0x5E51);
///   ... call a native method with env.jni() ...
///   EXPECT_EQ(env.trace(), ...)        // and see native_test.h for the fixture that does most of this
///
/// With an exception pending, calls go on returning normal values and a second Throw replaces the first: that is what
/// HotSpot does. What would kill a JVM (a null array, a field of another class) fails the running test instead.
#pragma once

#include "java_model.h"
#include "loans.h"

#include <mutex>
#include <optional>
#include <set>

namespace jvm {

/// What a call that was made to fail leaves pending.
enum class Leaving {
  Nothing,
  Exception,  ///< what a JVM would leave: NoClassDefFoundError, NoSuchFieldError, ..., else OutOfMemoryError
};

/// What a `velnor.CryptokiException` was built from.
struct Report {
  std::string function;
  jint code;
  std::string message;
};

struct Reference {
  Object* object;
  bool local;
  bool deleted;
};

class RecordingEnv {
public:
  RecordingEnv();
  RecordingEnv(const RecordingEnv&) = delete;
  RecordingEnv& operator=(const RecordingEnv&) = delete;

  JNIEnv* jni() { return &block_; }

  // --- Java objects for a test; a name is what the journal shows. An empty name is replaced by a generated one, and
  // an unnamed object stored in a field or array takes the name `owner.field` or `owner[index]`.
  jbyteArray bytes(const std::string& name, const std::string& contents);
  jbyteArray bytes(const std::string& contents) { return bytes("", contents); }
  jintArray ints(const std::string& name, const Ints& contents);
  jlongArray longs(const std::string& name, const Longs& contents);
  jcharArray chars(const std::string& name, const std::u16string& contents);
  jobjectArray array(const std::string& name, const std::string& elementClass, const std::vector<jobject>& elements);
  /// A direct ByteBuffer; any other object counts as one that lies on Java's heap.
  jobject directBuffer(const std::string& name, const std::string& contents);
  jstring string(const std::string& name, const std::u16string& contents);
  jstring string(const std::string& name, const std::string& utf8) { return string(name, fromUtf8(utf8)); }
  jobject integer(jint value);
  jobject boolean(bool value);
  /// An object of any class; fields are set with `set` and read 0 or null until then.
  jobject object(const std::string& name, const std::string& className);
  jclass classOf(const std::string& className);

  jobject session(const std::string& name, jlong handle);
  jobject slot(const std::string& name, jint slotID);
  jobject mechanism(const std::string& name, jint code, jobject parameter = nullptr);
  jobject attribute(jint type, jobject value);
  jobjectArray attributes(const std::string& name, const std::vector<jobject>& elements) {
    return array(name, "velnor/Attribute", elements);
  }

  /// Sets a declared field, and answers the object so that calls chain.
  jobject set(jobject object, const std::string& field, std::int64_t number);
  jobject set(jobject object, const std::string& field, jobject value);
  jobject setNull(jobject object, const std::string& field) { return set(object, field, jobject(nullptr)); }

  // --- Looking at Java objects.
  /// The whole object as text: `Version(2, 1)`, `[NativeSlot(17)]`, bytes as in the journal, strings quoted, `null`.
  std::string show(jobject object) const;
  /// The bytes of a byte[] or a direct buffer; fails the test for anything else.
  std::string bytesOf(jobject array) const;
  Object* target(jobject reference) const;

  // --- The class contract.
  Classes classes;
  void declareMissing(const std::string& className);
  /// Declares a field or method missing; an empty signature means every overload.
  void declareMissing(const std::string& className, const std::string& member, const std::string& signature = "");

  // --- Failures on purpose.
  void failNext(const std::string& function, Leaving leaving = Leaving::Nothing) { failNth(function, 1, leaving); }
  /// The n-th call (from 1) of the function from now on.
  void failNth(const std::string& function, int n, Leaving leaving = Leaving::Nothing);
  /// The call with this index (from 1) among all calls since the last `clear`.
  void failCall(int index, Leaving leaving = Leaving::Nothing);
  /// How many calls there were since the last `clear`.
  int calls() const { return calls_; }
  int calls(const std::string& function) const;
  /// Whether a planned failure has not happened (yet).
  bool faultsLeft() const { return failIndex_ != 0 || !failures_.empty(); }
  /// The function that the last failing call named, empty if none failed.
  const std::string& lastFailed() const { return lastFailed_; }

  // --- The journal.
  /// The raw lines since the last `clear`.
  std::vector<std::string> journal() const;
  /// The lines with well-formed reports and session look-ups each folded into one; see trace.h.
  std::string trace() const;
  /// Adds a line of another origin, such as a module call. Callable from any thread.
  void note(const std::string& line);
  /// Forgets lines, call counts and planned failures; objects, loans and exceptions stay.
  void clear();
  /// Forgets the lines only.
  void clearJournal();

  // --- Exceptions.
  /// Empty when none is pending, else its class path.
  std::string pendingClass() const;
  /// The pending exception as text, such as `CryptokiException("J_Sign", 5, "Data is NULL")`; empty when there is none.
  std::string pending() const;
  /// The pending exception's report; none when nothing or another kind is pending.
  std::optional<Report> pendingReport() const;
  /// Everything thrown, as text, in order, whether thrown by native code or by the environment.
  const std::vector<std::string>& thrown() const { return thrown_; }
  void clearException() { pending_ = nullptr; }

  // --- Loans and references.
  Loans loans;
  int localReferencesCreated() const { return created_; }
  int localReferencesDeleted() const { return deleted_; }

  // --- For the function table.
  /// Records a call; true when it must fail.
  bool enter(const char* function, const std::string& arguments = "");
  /// Records a call that cannot fail.
  void record(const char* function, const std::string& arguments);
  /// Marks the call just recorded as answered with null, and leaves `exception` pending unless that is empty.
  void refuse(const std::string& exception, const std::string& message = "");
  void raise(const std::string& className, const std::string& message);
  void raise(Object* exception);
  jobject newLocal(Object* object);
  void deleteLocal(jobject reference);
  Object* create(const Class* type, const std::string& name = "");
  Object* mirror(const Class* type);
  /// The target, or a failed test when the reference is null or deleted.
  Object* require(jobject reference, const char* function) const;
  std::string nameOf(jobject reference) const;
  std::string brief(const Value& value) const;
  std::string full(const Object* object, int depth = 0) const;
  void adopt(Object* owner, const std::string& role, Object* child);
  Object* pendingObject() const { return pending_; }

private:
  struct Block : JNIEnv_ {
    RecordingEnv* owner;
  };
  friend RecordingEnv& self(JNIEnv* env);
  jobject give(Object* object);

  Block block_;
  JNINativeInterface_ table_;
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::map<std::string, int> callsOf_;
  std::map<std::string, std::map<int, Leaving>> failures_;
  int calls_ = 0;
  int failIndex_ = 0;
  Leaving failIndexLeaving_ = Leaving::Nothing;
  std::string lastFailed_;
  std::deque<Object> objects_;
  std::deque<Reference> references_;
  std::map<std::string, int> generated_;
  std::map<const Class*, Object*> mirrors_;
  Object* pending_ = nullptr;
  std::vector<std::string> thrown_;
  int created_ = 0;
  int deleted_ = 0;
};

/// The environment behind a JNIEnv that native code was given.
RecordingEnv& self(JNIEnv* env);

/// The function table: every modelled function, and for all others one that names itself and aborts.
JNINativeInterface_ makeFunctionTable();

}  // namespace jvm
