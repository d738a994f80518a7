/// A module that a test holds the strings of. It has every function, tells each call by the types of its arguments, and
/// answers with what cannot be taken for anything else:
///
///   C_Sign 0xFEDCBA9876543210 in="data" room=20        and writes "<C_Sign>" where there is room for it
///
/// It writes before it refuses, so that a test sees what of a failed call reaches Java.
#pragma once

#include "pkcs11.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <vector>

namespace puppet {

using FunctionList = CK_FUNCTION_LIST_3_0;

struct Answer {
  CK_RV Rv = CKR_OK;
  std::optional<CK_ULONG> length;        ///< what it claims of its output, or its list, instead of the truth
  std::function<void()> then = nullptr;  ///< what it does at last, such as to throw
  std::optional<CK_ULONG> size = {};     ///< its output has so many bytes, or its list so many elements
};

/// For every call until it is changed.
extern Answer answer;
/// Every call, as a line.
extern std::vector<std::string> told;

// As journals show them.
std::string hex(std::uint64_t value);
std::string shown(const std::string& bytes);

/// Forgets calls, answers and behaviours.
void reset();

/// The list with all functions.
FunctionList& functions();

/// The numbers that are answered: 0xA0...01, and one more each.
constexpr CK_ULONG kNumber = 0xA000000000000001;
/// What information structures are filled with.
constexpr CK_BYTE kInformation = 'Z';

/// What comes out of a function, `size` bytes of it or as many as its name in brackets has.
std::string output(const std::string& function, std::optional<CK_ULONG> size = {});

std::vector<std::function<void()>>& resets();

class Teller {
public:
  explicit Teller(const char* function) : function_(function), line_(function) {}

  template <std::size_t At, typename Arguments>
  void tell(const Arguments& arguments) {
    if constexpr (At < std::tuple_size_v<Arguments>) {
      constexpr std::size_t kNext = At + 1;
      const auto& argument = std::get<At>(arguments);
      using Argument = std::decay_t<decltype(argument)>;
      if constexpr (std::is_same_v<Argument, CK_ULONG> || std::is_same_v<Argument, CK_BBOOL>) {
        value(argument);
        tell<kNext>(arguments);
      } else if constexpr (std::is_same_v<Argument, CK_BYTE_PTR>) {
        if constexpr (kNext == std::tuple_size_v<Arguments>) {
          label(argument);
        } else if constexpr (std::is_same_v<std::tuple_element_t<kNext, Arguments>, CK_ULONG>) {
          bytes(argument, std::get<kNext>(arguments));
          tell<At + 2>(arguments);
        } else {
          room(argument, std::get<kNext>(arguments));
          tell<At + 2>(arguments);
        }
      } else if constexpr (isParameter<At, Arguments>()) {
        parameter(argument, std::get<kNext>(arguments));
        tell<At + 2>(arguments);
      } else if constexpr (std::is_same_v<Argument, CK_MECHANISM_PTR>) {
        mechanism(argument);
        tell<kNext>(arguments);
      } else if constexpr (std::is_same_v<Argument, CK_ATTRIBUTE_PTR>) {
        attributes(argument, std::get<kNext>(arguments));
        tell<At + 2>(arguments);
      } else if constexpr (std::is_same_v<Argument, CK_ULONG_PTR>) {
        numbers<At>(arguments);
      } else if constexpr (std::is_same_v<Argument, CK_VOID_PTR> || std::is_same_v<Argument, CK_NOTIFY>) {
        line_ += argument == nullptr ? " null" : " non-null";
        tell<kNext>(arguments);
      } else {
        information(argument, sizeof *argument);
        tell<kNext>(arguments);
      }
    }
  }

  CK_RV end() const;

private:
  /// A pointer with its length beside it.
  template <std::size_t At, typename Arguments>
  static constexpr bool isParameter() {
    if constexpr (At + 1 < std::tuple_size_v<Arguments>) {
      return std::is_same_v<std::tuple_element_t<At, Arguments>, CK_VOID_PTR> &&
             std::is_same_v<std::tuple_element_t<At + 1, Arguments>, CK_ULONG>;
    } else {
      return false;
    }
  }
  void parameter(CK_VOID_PTR at, CK_ULONG length);
  void value(CK_ULONG number) { line_ += " " + hex(number); }
  void mechanism(CK_MECHANISM_PTR at);
  void attributes(CK_ATTRIBUTE_PTR at, CK_ULONG count);
  void bytes(CK_BYTE_PTR at, CK_ULONG length);
  void label(CK_BYTE_PTR at);
  void room(CK_BYTE_PTR at, CK_ULONG_PTR length);
  void list(CK_ULONG_PTR at, CK_ULONG room, CK_ULONG_PTR count);
  void pair(CK_ULONG_PTR one, CK_ULONG_PTR other);
  void number(CK_ULONG_PTR at);
  void information(void* at, std::size_t size);

  /// One number, a list and its count, or a list with its room and its count.
  template <std::size_t At, typename Arguments>
  void numbers(const Arguments& arguments) {
    constexpr std::size_t kLeft = std::tuple_size_v<Arguments> - At;
    if constexpr (kLeft == 3) {
      list(std::get<At>(arguments), std::get<At + 1>(arguments), std::get<At + 2>(arguments));
    } else if constexpr (kLeft == 2) {
      if constexpr (std::is_same_v<std::tuple_element_t<At + 1, Arguments>, CK_ULONG_PTR>) {
        pair(std::get<At>(arguments), std::get<At + 1>(arguments));
      } else {
        number(std::get<At>(arguments));
        tell<At + 1>(arguments);
      }
    } else {
      number(std::get<At>(arguments));
      tell<At + 1>(arguments);
    }
  }

  const char* function_;
  std::string line_;
  CK_ULONG numbers_ = 0;
  bool tooSmall_ = false;
};

/// The function of one entry, and what a test has it do instead:
///
///   Entry<&FunctionList::C_Sign>::behaviour = [](CK_SESSION_HANDLE, ...) { ...; return CKR_OK; };
template <auto Member>
struct Entry;

template <typename List, typename... Arguments, CK_RV (*List::*Member)(Arguments...)>
struct Entry<Member> {
  static inline const char* name = nullptr;
  static inline std::function<CK_RV(Arguments...)> behaviour;

  static CK_RV call(Arguments... arguments) {
    if (behaviour) {
      told.emplace_back(name);
      return behaviour(arguments...);
    }
    Teller teller(name);
    teller.tell<0>(std::tuple<Arguments...>(arguments...));
    return teller.end();
  }

  static void hang(FunctionList& list, const char* entryName) {
    name = entryName;
    list.*Member = call;
    resets().push_back([] { behaviour = nullptr; });
  }
};

/// A module's file under a name of its own, open beside the library, with what its lists are to be.
class Module {
public:
  /// `file` is one of modules.h.
  explicit Module(const std::string& file);
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  const std::string& path() const { return path_; }
  /// What C_GetFunctionList answers.
  void list(std::function<CK_RV(CK_FUNCTION_LIST_PTR_PTR)> answers);
  void list(CK_FUNCTION_LIST& list) {
    this->list([&list](CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
      *ppFunctionList = &list;
      return CKR_OK;
    });
  }
  /// What C_GetInterface answers.
  void interface(std::function<CK_RV(CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR, CK_FLAGS)> answers);
  /// What C_GetInterfaceList answers.
  void interfaces(std::function<CK_RV(CK_INTERFACE_PTR, CK_ULONG_PTR)> answers);
  /// What C_SetCallBack does.
  void callback(std::function<CK_RV(CK_LONG, CK_VOID_PTR)> answers);

private:
  std::string path_;
  void* handle_;
};

}  // namespace puppet
