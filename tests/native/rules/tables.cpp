#include "tables.h"

#include <algorithm>

namespace faults {
namespace {

bool anyOf(const std::string& name, std::initializer_list<const char*> names) {
  return std::any_of(names.begin(), names.end(), [&name](const char* other) { return name == other; });
}

bool readsSeveralAttributes(const Method& method) {
  return method.javaName() == "J_GetAttributeValue" && method.takes(Kind::IntArray);
}

bool searchesWithAttributes(const Method& method) {
  return method.javaName() == "J_FindObjects" && method.takes(Kind::IntArray);
}

bool opensWithPin(const Method& method) {
  return method.javaName() == "J_OpenSession" && method.takes(Kind::String);
}

bool loads(const Method& method) {
  return method.reportName == "loadCryptokiLibrary";
}

bool loadsOrInitializes(const Method& method) {
  return loads(method) || method.javaName() == "Initialize";
}

}  // namespace

// The stray apostrophe is part of the text: applications match it.
const std::vector<LookupText> kLookupTexts = {
    {"FindClass velnor/nat/NativeSession", "Class 'velnor/nat/NativeSession' not found"},
    {"GetFieldID velnor/nat/NativeSession m_sessionHandle", "Field m_sessionHandle' not found"},
    {"FindClass velnor/nat/NativeSlot", "Class 'velnor/nat/NativeSlot' not found"},
};

const std::vector<KeptLoan> kKeptLoans = {
    {[](const Method& m) { return m.keepsInput; }, "input0", false,
     "callers have always had the signature, or the wrapped key, held after the call"},
    {[](const Method& m) { return m.detachesOutput; }, "output", true,
     "the reference is cleared before the release, which then reaches no array"},
};

const std::vector<ToleratedCall> kToleratedCalls = {
    {[](const Method& m) { return m.fillsCallersArray(); }, "GetByteArrayElements output", false,
     "an array that cannot be had makes a length query"},
    {[](const Method& m) { return m.javaName() == "J_Digest"; }, "GetByteArrayElements input0", false,
     "whether there may be no data is for the module to judge"},
    {searchesWithAttributes, "NewObject velnor/CryptokiObject", false,
     "the test behind it looks at another reference, so a null element is stored"},
    {[](const Method& m) { return m.javaName() == "getLastLoadedLibraryFullPath"; }, "NewStringUTF", false,
     "the method has no frame: null is its answer"},
    {loads, "GetStringUTFChars", true, "the predecessor is finalised before the name is looked at"},
};

const std::vector<ToleratedCode> kToleratedCodes = {
    {opensWithPin, "C_Login", CKR_USER_ALREADY_LOGGED_IN, "the second session of an application is logged in already"},
    {readsSeveralAttributes, "C_GetAttributeValue", CKR_ATTRIBUTE_TYPE_INVALID,
     "an attribute that is not there is null"},
    {searchesWithAttributes, "C_GetAttributeValue", kAnyCode, "an attribute that cannot be read is null"},
    {[](const Method& m) { return m.javaName() == "J_OpenSession"; }, "C_SetCallBack", kAnyCode,
     "a refused callback must not fail the session"},
    {loads, "C_Finalize", kAnyCode, "the predecessor's answer changes nothing for its successor"},
};

const std::vector<ToleratedAllocation> kToleratedAllocations = {
    {searchesWithAttributes, 1, "an attribute without a buffer to read it into is null"},
    {loadsOrInitializes, 2, "without memory for them the full path and the configuration stay unknown"},
};

bool reportsTwice(const Method& method) {
  return anyOf(method.javaName(), {"J_SignInit", "J_DecryptInit"});
}

bool grows(const Method& method) {
  // One asks for the size first, one has a fixed size, and one asks and goes by the answer.
  return method.signature.result == Kind::ByteArray &&
         !anyOf(method.javaName(), {"J_Sign", "J_Digest", "J_GetOperationState"});
}

bool answersAValue(const std::string& jniFunction) {
  return anyOf(jniFunction, {"GetIntField", "GetByteField", "GetObjectField", "GetArrayLength", "GetStringLength",
                             "GetStringUTFLength", "CallIntMethod", "CallBooleanMethod"});
}

}  // namespace faults
