/// The pattern of the operation families: how an operation starts, where its input comes from, and the two ways of
/// sizing output that several families share. What a family does differently stands in its own source.
#pragma once

#include "harlune.h"
#include "loans.h"
#include "lookups.h"
#include "mechanisms.h"
#include "memory.h"

/// A region of a Java byte[] that a method was given.
struct Region {
  jbyteArray array;
  jint offset;
  jint length;
};

/// The output sizes with which growing buffers start: enough for every common case, so that one module call does.
inline constexpr CK_ULONG kOutputGuess = 512;

/// The first guess at an output that grows with its input; a Java int sum, like the lengths it is made of.
inline CK_ULONG guessFrom(jint inputLength) {
  return widen(narrow(widen(inputLength) + kOutputGuess));
}

/// Starts an operation with a Java mechanism and reports its own failure under `name`. Returns the module's answer, or
/// 0 when it failed before the module was asked: after a conversion that failed the caller carries on.
template <typename Start>
CK_RV startOperation(JNIEnv* env, const char* name, jobject jMechanism, Start&& start) {
  CK_MECHANISM Mechanism = {};
  CK_RV Rv = CKR_OK;
  frame(env, name, [&] {
    Mechanism2CKMechanism(env, jMechanism, &Mechanism);
    Rv = start(&Mechanism);
    requireOk(Rv);
  });
  FreeMechanism(&Mechanism);
  return Rv;
}

/// A start that belongs to no init flag: converts the mechanism, reads the session from the object, asks the module.
template <typename Entry>
void startRecovery(JNIEnv* env, const char* name, jobject jSession, jobject jMechanism, jlong hKey,
                   Entry CK_FUNCTION_LIST::*entry) {
  CK_MECHANISM Mechanism = {};
  frame(env, name, [&] {
    Mechanism2CKMechanism(env, jMechanism, &Mechanism);
    callModule(entry, getSessionHandle(env, jSession), &Mechanism, handle(hKey));
  });
  FreeMechanism(&Mechanism);
}

/// Where a method's session comes from: its own argument, or the Java object it was called on.
inline auto sessionArgument(jlong hSession) {
  return [hSession] { return handle(hSession); };
}
inline auto sessionOfObject(JNIEnv* env, jobject jSession) {
  return [env, jSession] { return getSessionHandle(env, jSession); };
}

/// The init flag of a method: runs the Init worker if it is set, and tells whether the method may go on. A worker that
/// answers non-zero has reported by then, and nothing has been borrowed yet.
template <typename Worker, typename... Key>
auto initFlag(Worker worker, JNIEnv* env, jboolean bInit, jlong hSession, jobject mechanism, Key... hKey) {
  return [=] { return bInit == JNI_FALSE || worker(env, handle(hSession), mechanism, hKey...) == CKR_OK; };
}

/// For the methods without an init flag.
inline bool alreadyStarted() {
  return true;
}

/// Asks the module through a function that wraps an entry; its sibling `invoke` takes the entry itself.
inline CK_RV invoke(CK_C_Sign wrapper, CK_SESSION_HANDLE hSession, CK_BYTE_PTR input, CK_ULONG inputLength,
                    CK_BYTE_PTR output, CK_ULONG_PTR outputLength) {
  return wrapper(hSession, input, inputLength, output, outputLength);
}

/// How often a module may ask for another length. None asks more than twice, unless it does so for ever, and callers
/// may count on being repeated as often as any module in its senses asks.
inline constexpr unsigned kMostAttempts = 10'000;

/// Calls the module with a buffer of whatever length it asks for, and makes the new Java array.
template <typename Call>
jbyteArray growIntoNewArray(JNIEnv* env, Buffer& output, CK_ULONG length, const char* refused, Call&& call) {
  bool isEnough = false;
  for (unsigned attempt = 1; !isEnough; ++attempt) {
    resize(output, length);
    const CK_RV Rv = call(output.bytes, &length);
    isEnough = Rv != CKR_BUFFER_TOO_SMALL;
    if (isEnough || length == 0 || attempt == kMostAttempts) {
      requireOk(Rv);
    }
  }
  return newByteArray(env, output, length, refused);
}

/// The texts of a method that turns input into a new array.
struct NewArrayContract {
  const char* name;
  const char* inputMissing;
  const char* outputRefused;
};

/// Input to a new array by way of a growing buffer that starts a little larger than the input.
template <typename Started, typename Session, typename Entry>
jbyteArray transformIntoNewArray(JNIEnv* env, const NewArrayContract& contract, const Region& input, Started&& started,
                                 Session&& session, Entry CK_FUNCTION_LIST::*entry) {
  ByteElements Input = {};
  Buffer output = {};
  jbyteArray jOutput = nullptr;
  frame(env, contract.name, [&] {
    if (!started()) {
      return;
    }
    borrowInput(env, Input, input.array, contract.inputMissing);
    const CK_SESSION_HANDLE hSession = session();
    jOutput = growIntoNewArray(
        env, output, guessFrom(input.length), contract.outputRefused, [&](CK_BYTE_PTR bytes, CK_ULONG_PTR length) {
          return invoke(entry, hSession, at(Input, input.offset), widen(input.length), bytes, length);
        });
  });
  giveBack(env, Input, JNI_ABORT);
  release(output.bytes);
  return jOutput;
}

/// What becomes of the borrowed output when a method into the caller's array has failed.
enum class AfterFailure : std::uint8_t {
  CopyBack,        ///< it is copied back like after a success
  ReleaseDetached  ///< it is released against a null array reference, which JVMs do not survive
};

/// How a method into the caller's array differs from its siblings.
struct CallersArrayContract {
  const char* name;
  const char* inputMissing = nullptr;  ///< null: a missing input is for the module to judge
  AfterFailure afterFailure = AfterFailure::CopyBack;
};

/// Gives the caller's array back after the frame. Applications have been built around the detached release, so it
/// stays; the surface above keeps them from it.
inline void giveBackOutput(JNIEnv* env, ByteElements& output, bool succeeded, AfterFailure afterFailure) {
  if (!succeeded && afterFailure == AfterFailure::ReleaseDetached) {
    output.array = nullptr;
  }
  giveBack(env, output, 0);
}

/// Input to the caller's array: one module call, told how much room there is behind the offset.
template <typename Started, typename Session, typename Entry>
jint transformIntoCallersArray(JNIEnv* env, const CallersArrayContract& contract, const Region& input,
                               jbyteArray jOutput, jint outputOffset, Started&& started, Session&& session,
                               Entry entry) {
  ByteElements Input = {};
  ByteElements output = {};
  Output room = {};
  const bool succeeded = frame(env, contract.name, [&] {
    if (!started()) {
      return;
    }
    if (contract.inputMissing != nullptr) {
      borrowInput(env, Input, input.array, contract.inputMissing);
    } else {
      tryBorrow(env, Input, input.array);
    }
    room = borrowOutput(env, output, jOutput, outputOffset);
    const CK_SESSION_HANDLE hSession = session();
    requireOk(invoke(entry, hSession, at(Input, input.offset), widen(input.length), room.bytes, &room.length));
  });
  giveBack(env, Input, JNI_ABORT);
  giveBackOutput(env, output, succeeded, contract.afterFailure);
  return Check64BitLen(env, room.length);
}

/// The end of an operation into a new array.
template <typename Entry>
jbyteArray finishIntoNewArray(JNIEnv* env, const char* name, const char* refused, jobject jSession,
                              Entry CK_FUNCTION_LIST::*entry) {
  Buffer output = {};
  jbyteArray jOutput = nullptr;
  frame(env, name, [&] {
    const CK_SESSION_HANDLE hSession = getSessionHandle(env, jSession);
    jOutput = growIntoNewArray(env, output, kOutputGuess, refused, [&](CK_BYTE_PTR bytes, CK_ULONG_PTR length) {
      return invoke(entry, hSession, bytes, length);
    });
  });
  release(output.bytes);
  return jOutput;
}

/// The end of an operation into the caller's array. `presetLength` is what a method answers that never got to look at
/// the array.
template <typename Entry>
jint finishIntoCallersArray(JNIEnv* env, const CallersArrayContract& contract, jobject jSession, jbyteArray jOutput,
                            jint outputOffset, CK_ULONG presetLength, Entry CK_FUNCTION_LIST::*entry) {
  ByteElements output = {};
  Output room = {nullptr, presetLength};
  const bool succeeded = frame(env, contract.name, [&] {
    room = borrowOutput(env, output, jOutput, outputOffset);
    callModule(entry, getSessionHandle(env, jSession), room.bytes, &room.length);
  });
  giveBackOutput(env, output, succeeded, contract.afterFailure);
  return Check64BitLen(env, room.length);
}
