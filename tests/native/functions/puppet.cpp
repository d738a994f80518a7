#include "puppet.h"

#include "../module/describe.h"
#include "../module/text.h"

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <stdexcept>

namespace puppet {
namespace {

std::function<CK_RV(CK_FUNCTION_LIST_PTR_PTR)> getFunctionList;
std::function<CK_RV(CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR, CK_FLAGS)> getInterface;
std::function<CK_RV(CK_INTERFACE_PTR, CK_ULONG_PTR)> getInterfaceList;
std::function<CK_RV(CK_LONG, CK_VOID_PTR)> setCallBack;

CK_RV callSetCallBack(CK_LONG kind, CK_VOID_PTR callback) {
  return setCallBack(kind, callback);
}

CK_RV callGetFunctionList(CK_FUNCTION_LIST_PTR_PTR ppFunctionList) {
  return getFunctionList(ppFunctionList);
}

CK_RV callGetInterface(CK_UTF8CHAR_PTR pInterfaceName, CK_VERSION_PTR pVersion, CK_INTERFACE_PTR_PTR ppInterface,
                       CK_FLAGS flags) {
  return getInterface(pInterfaceName, pVersion, ppInterface, flags);
}

CK_RV callGetInterfaceList(CK_INTERFACE_PTR pInterfacesList, CK_ULONG_PTR pulCount) {
  return getInterfaceList(pInterfacesList, pulCount);
}

template <typename Hook>
void hang(void* handle, const char* name, Hook hook) {
  void* const place = dlsym(handle, name);
  if (place == nullptr) {
    throw std::runtime_error(dlerror());
  }
  std::memcpy(place, &hook, sizeof hook);
}

FunctionList made() {
  FunctionList list = {};
  list.version = {3, 0};
#define X(name) Entry<&FunctionList::name>::hang(list, #name);
#include "../module/functions.inc"
#include "../module/functions_3_0.inc"
#undef X
  return list;
}

}  // namespace

Answer answer;
std::vector<std::string> told;

std::vector<std::function<void()>>& resets() {
  static std::vector<std::function<void()>> all;
  return all;
}

std::string hex(std::uint64_t value) {
  return text::hex(value);
}

std::string shown(const std::string& bytes) {
  return text::bytes(bytes.data(), bytes.size());
}

void reset() {
  answer = Answer();
  told.clear();
  for (const auto& one : resets()) {
    one();
  }
}

FunctionList& functions() {
  static FunctionList list = made();
  return list;
}

std::string output(const std::string& function, std::optional<CK_ULONG> size) {
  std::string bytes = "<" + function + ">";
  if (size) {
    const std::string one = bytes;
    while (bytes.size() < *size) {
      bytes += one;
    }
    bytes.resize(*size);
  }
  return bytes;
}

void Teller::mechanism(CK_MECHANISM_PTR at) {
  line_ += " " + scripted::mechanism(at, false);
}

void Teller::attributes(CK_ATTRIBUTE_PTR at, CK_ULONG count) {
  line_ += " " + scripted::valueTemplate(at, count, false);
}

void Teller::bytes(CK_BYTE_PTR at, CK_ULONG length) {
  if (std::strcmp(function_, "C_GenerateRandom") == 0) {
    line_ += (at == nullptr ? " room=null:" : " room=") + text::length(length);
    const std::string random = output(function_, length);
    if (at != nullptr) {
      std::copy(random.begin(), random.end(), at);
    }
    return;
  }
  line_ += " in=" + (at == nullptr ? "null:" + text::length(length) : scripted::input(at, length, false));
}

void Teller::parameter(CK_VOID_PTR at, CK_ULONG length) {
  line_ += " parameter=" + text::length(length) + ":" + scripted::input(at, length, false);
}

void Teller::label(CK_BYTE_PTR at) {
  line_ += " label=" + scripted::input(at, 32, false);
}

void Teller::room(CK_BYTE_PTR at, CK_ULONG_PTR length) {
  if (length == nullptr) {
    line_ += " room=none";
    return;
  }
  line_ += (at == nullptr ? " room=null:" : " room=") + text::length(*length);
  const std::string out = output(function_, answer.size);
  if (at != nullptr) {
    std::copy_n(out.begin(), std::min<CK_ULONG>(*length, out.size()), at);
    tooSmall_ = *length < out.size();
  }
  *length = answer.length.value_or(out.size());
}

void Teller::list(CK_ULONG_PTR at, CK_ULONG room, CK_ULONG_PTR count) {
  const bool mayBeCut = std::strcmp(function_, "C_FindObjects") == 0;
  line_ += (at == nullptr ? " list=null:" : " list=") + text::length(room);
  constexpr CK_ULONG kElements = 3;
  const CK_ULONG size = answer.size.value_or(kElements);
  const CK_ULONG fits = std::min(room, size);
  for (CK_ULONG i = 0; at != nullptr && i < fits; ++i) {
    at[i] = kNumber + i;
  }
  tooSmall_ = at != nullptr && !mayBeCut && room < size;
  *count = answer.length.value_or(mayBeCut ? fits : size);
}

void Teller::pair(CK_ULONG_PTR one, CK_ULONG_PTR other) {
  if (std::strcmp(function_, "C_GenerateKeyPair") == 0) {
    number(one);
    number(other);
  } else {
    list(one, *other, other);
  }
}

void Teller::number(CK_ULONG_PTR at) {
  line_ += at == nullptr ? " number=null" : " number";
  if (at != nullptr) {
    *at = kNumber + numbers_++;
  }
}

void Teller::information(void* at, std::size_t size) {
  line_ += at == nullptr ? " information=null" : " information";
  if (at != nullptr) {
    std::memset(at, kInformation, size);
  }
}

CK_RV Teller::end() const {
  told.push_back(line_);
  if (answer.then) {
    answer.then();
  }
  return answer.Rv == CKR_OK && tooSmall_ ? CKR_BUFFER_TOO_SMALL : answer.Rv;
}

Module::Module(const std::string& file) : path_(file), handle_(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (handle_ == nullptr) {
    throw std::runtime_error(dlerror());
  }
}

void Module::list(std::function<CK_RV(CK_FUNCTION_LIST_PTR_PTR)> answers) {
  getFunctionList = std::move(answers);
  hang(handle_, "puppet_get_function_list", callGetFunctionList);
}

void Module::interface(std::function<CK_RV(CK_UTF8CHAR_PTR, CK_VERSION_PTR, CK_INTERFACE_PTR_PTR, CK_FLAGS)> answers) {
  getInterface = std::move(answers);
  hang(handle_, "puppet_get_interface", callGetInterface);
}

void Module::interfaces(std::function<CK_RV(CK_INTERFACE_PTR, CK_ULONG_PTR)> answers) {
  getInterfaceList = std::move(answers);
  hang(handle_, "puppet_get_interface_list", callGetInterfaceList);
}

void Module::callback(std::function<CK_RV(CK_LONG, CK_VOID_PTR)> answers) {
  setCallBack = std::move(answers);
  hang(handle_, "puppet_set_callback", callSetCallBack);
}

}  // namespace puppet
