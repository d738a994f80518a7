/// Array elements and string characters that the environment has lent: always copies, between guard zones.
#pragma once

#include "java_model.h"

#include <memory>
#include <string>
#include <vector>

namespace jvm {

class Loans {
public:
  Loans() = default;
  Loans(const Loans&) = delete;
  Loans& operator=(const Loans&) = delete;
  ~Loans();

  /// Lends a copy of `size` bytes.
  void* lend(Object* owner, const std::string& what, const void* bytes, std::size_t size);

  /// Takes a loan back. `copyBack` receives the bytes when the mode wants them (0 and JNI_COMMIT). A release against a
  /// null owner takes nothing back: the loan stays out, as it does in a JVM. Misuse fails the running test.
  template <typename CopyBack>
  void takeBack(Object* owner, const std::string& what, const void* elements, jint mode, CopyBack&& copyBack) {
    if (const Loan* const loan = settle(owner, what, elements, mode); loan != nullptr && mode != JNI_ABORT) {
      copyBack(loan->bytes, loan->size);
    }
  }

  /// The names of the objects whose loans are still out, in the order of lending.
  std::vector<std::string> out() const;
  /// How many loans were made.
  std::size_t made() const { return loans_.size(); }
  /// Fails the running test for every loan, returned or not, that was written outside its bounds.
  void checkGuards() const;

private:
  struct Loan {
    Object* owner;
    std::string what;
    std::unique_ptr<unsigned char[]> block;
    unsigned char* bytes;
    std::size_t size;
    bool returned;
    mutable bool damageReported;
  };
  const Loan* settle(Object* owner, const std::string& what, const void* elements, jint mode);
  static void checkGuards(const Loan& loan);
  static void poison(const Loan& loan, bool on);

  std::vector<std::unique_ptr<Loan>> loans_;
};

}  // namespace jvm
