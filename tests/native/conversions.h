/// The journal lines of the conversions that most methods on objects and keys, and all that start an operation, begin
/// with.
#pragma once

#include <string>

/// Converting an `Attribute[]` without elements.
inline std::string templateLines(const std::string& name) {
  return R"(
    FindClass velnor/Attribute
    GetFieldID velnor/Attribute type I
    GetFieldID velnor/Attribute value Ljava/lang/Object;
    FindClass java/lang/Integer
    FindClass java/lang/Boolean
    FindClass java/lang/String
    GetArrayLength )" +
         name + R"(
    DeleteLocalRef java/lang/Integer
    DeleteLocalRef java/lang/Boolean
    DeleteLocalRef java/lang/String
)";
}

/// Converting a mechanism without a parameter.
inline std::string mechanismLines(const std::string& name) {
  return R"(
    FindClass velnor/Mechanism
    GetFieldID velnor/Mechanism mechanism I
    GetFieldID velnor/Mechanism parameter Ljava/lang/Object;
    GetObjectField )" +
         name + R"( parameter
    GetIntField )" +
         name + R"( mechanism
)";
}
