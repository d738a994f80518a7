#include "calls.h"

#include <algorithm>

namespace functions {
namespace {

// Input stands inside of what does not belong to it.
const std::string kIn = "xxxsecret inputyy";
constexpr jint kInOff = 3;
constexpr jint kInLen = 12;
const std::string kInTold = " in=\"secret input\"";
const std::string kOut = "----......................................--";
constexpr jint kOutOff = 4;
constexpr jint kOutLen = 38;
const std::string kOutTold = " room=38";
const std::string kPin = "secret PIN";
const std::string kPinTold = " in=\"secret PIN\"";

const std::string kSessionTold = " 0xFEDCBA9876543210";
const std::string kObjectTold = " 0xEDCBA98765432101";
const std::string kOtherTold = " 0xDCBA987654321012";
const std::string kSlotTold = " 0xBA98765432101234";
const std::string kFlagsTold = " 0xA987654321012345";
const std::string kTemplateTold = " [0xCA7 12:\"secret value\", 0xFEDCBA9876543210 0:null]";
const std::string kMechanismTold = " 0xCBA9876543210123 parameter=16:\"secret parameter\"";

std::string aTemplate(const Arguments& a) {
  return templateBytes({{0xCA7, a.sized("secret value")}, {0xFEDCBA9876543210, std::nullopt}});
}
std::string aParameter(const Arguments& a) {
  return plainBytes(a.sized("secret parameter"));
}

const std::string kHandles[] = {"[-6917529027641081855]", "[-6917529027641081855, -6917529027641081854]"};

jlong lengthOf(const std::string& function) {
  return static_cast<jlong>(function.size()) + 2;
}

/// The output array as it is with the output in it.
std::string outWith(const std::string& function) {
  std::string filled = kOut;
  filled.replace(kOutOff, function.size() + 2, puppet::output(function));
  return "out " + puppet::shown(filled);
}

std::string informationOf(std::size_t size) {
  const std::string filled(size, static_cast<char>(puppet::kInformation));
  return "structure " + puppet::shown(filled);
}

struct Made {
  std::vector<Call> all;

  void add(const std::string& function, const std::string& told, std::function<jlong(Arguments&)> make,
           const std::string& changed = "") {
    all.push_back({function, shapeOf(function), function, false, told, 0, changed, std::move(make)});
  }
  /// A form that answers a length.
  void addLong(const std::string& function, const std::string& native, const std::string& told, jlong result,
               const std::string& changed, std::function<jlong(Arguments&)> make) {
    const std::string name = function + (native == shapeOf(function) ? "" : "_Direct");
    all.push_back({name, native, function, true, told, result, changed, std::move(make)});
  }
  void direct(const std::string& function, const std::string& told, std::function<jlong(Arguments&)> make,
              const std::string& changed = "") {
    add(function, told, std::move(make), changed);
    all.back().name += "_Direct";
    all.back().native += "Direct";
  }
};

std::vector<std::string> functionsOf(const std::string& shape) {
  std::vector<std::string> result;
  for (const Line& line : lines()) {
    if (line.shape == shape) {
      result.push_back(line.function);
    }
  }
  return result;
}

void addModule(Made& made) {
  made.add("C_Initialize", " non-null", [](Arguments& a) {
    StructureBytes arguments(sizeof(CK_C_INITIALIZE_ARGS));
    arguments.number(offsetof(CK_C_INITIALIZE_ARGS, flags), CKF_OS_LOCKING_OK);
    return NATIVE(initialize)(a.jni, nullptr, a.module, a.bytes("arguments", arguments.bytes()));
  });
  made.add("C_Finalize", " null", [](Arguments& a) { return NATIVE(finish)(a.jni, nullptr, a.module); });
}

void addIds(Made& made) {
  const struct {
    const char* function;
    std::string told;
    std::size_t size;
  } kInformation[] = {
      {"C_GetInfo", "", sizeof(CK_INFO)},
      {"C_GetSlotInfo", kSlotTold, sizeof(CK_SLOT_INFO)},
      {"C_GetTokenInfo", kSlotTold, sizeof(CK_TOKEN_INFO)},
      {"C_GetMechanismInfo", kSlotTold + " 0xCBA9876543210123", sizeof(CK_MECHANISM_INFO)},
      {"C_GetSessionInfo", kSlotTold, sizeof(CK_SESSION_INFO)},
  };
  for (const auto& row : kInformation) {
    made.add(
        row.function, row.told + " information",
        [size = row.size](Arguments& a) {
          return NATIVE(information)(a.jni, nullptr, a.module, a.index, kSlot, kMechanism,
                                     a.bytes("structure", std::string(size, '-')));
        },
        informationOf(row.size));
  }
  const std::string listed = "list [-6917529027641081855, -6917529027641081854, -6917529027641081853, 7]";
  made.addLong("C_GetSlotList", "list", " 0x1 list=4", 3, listed, [](Arguments& a) {
    return NATIVE(list)(a.jni, nullptr, a.module, a.index, 1, a.longs("list", a.sevens(4)));
  });
  made.addLong("C_GetMechanismList", "list", kSlotTold + " list=4", 3, listed, [](Arguments& a) {
    return NATIVE(list)(a.jni, nullptr, a.module, a.index, kSlot, a.longs("list", a.sevens(4)));
  });
  made.add(
      "C_WaitForSlotEvent", kFlagsTold + " number null",
      [](Arguments& a) { return NATIVE(waitForSlotEvent)(a.jni, nullptr, a.module, kFlags, a.longs("slot", {7})); },
      "slot " + kHandles[0]);
  made.add(
      "C_GetObjectSize", kSessionTold + kObjectTold + " number",
      [](Arguments& a) {
        return NATIVE(objectSize)(a.jni, nullptr, a.module, kSession, kObject, a.longs("size", {7}));
      },
      "size " + kHandles[0]);
}

void addSessions(Made& made) {
  made.add(
      "C_OpenSession", kSlotTold + kFlagsTold + " null null number",
      [](Arguments& a) {
        return NATIVE(openSession)(a.jni, nullptr, a.module, kSlot, kFlags, a.longs("session", {7}));
      },
      "session " + kHandles[0]);
  made.add("C_Login", kSessionTold + kOtherTold + kPinTold, [](Arguments& a) {
    return NATIVE(login)(a.jni, nullptr, a.module, kSession, kOther, a.bytes("pin", a.sized(kPin)));
  });
  made.add("C_LoginUser", kSessionTold + kOtherTold + kPinTold + " in=\"secret name\"", [](Arguments& a) {
    return NATIVE(loginUser)(a.jni, nullptr, a.module, kSession, kOther, a.bytes("pin", a.sized(kPin)),
                             a.bytes("name", a.sized("secret name")));
  });
  made.add("C_InitToken", kSlotTold + kPinTold + " label=\"secret label of thirty-two bytes\"", [](Arguments& a) {
    return NATIVE(initToken)(a.jni, nullptr, a.module, kSlot, a.bytes("pin", a.sized(kPin)),
                             a.bytes("label", "secret label of thirty-two bytes"));
  });
  made.add("C_SetOperationState", kSessionTold + " in=\"secret state\"" + kObjectTold + kOtherTold, [](Arguments& a) {
    return NATIVE(setOperationState)(a.jni, nullptr, a.module, kSession, a.bytes("state", a.sized("secret state")),
                                     kObject, kOther);
  });
  for (const std::string& function : functionsOf("number")) {
    made.add(function, kSessionTold,
             [](Arguments& a) { return NATIVE(number)(a.jni, nullptr, a.module, a.index, kSession); });
  }
  for (const std::string& function : functionsOf("numbers")) {
    made.add(function, kSessionTold + kObjectTold,
             [](Arguments& a) { return NATIVE(numbers)(a.jni, nullptr, a.module, a.index, kSession, kObject); });
  }
}

void addBytes(Made& made) {
  for (const std::string& function : functionsOf("bytes")) {
    made.add(function, kSessionTold + kInTold, [](Arguments& a) {
      return NATIVE(bytes)(a.jni, nullptr, a.module, a.index, kSession, a.bytes("in", a.sized(kIn, kInOff, kInLen)),
                           kInOff, a.length(kInLen));
    });
    made.direct(function, kSessionTold + kInTold, [](Arguments& a) {
      return NATIVE(bytesDirect)(a.jni, nullptr, a.module, a.index, kSession,
                                 a.directBuffer("in", a.sized(kIn, kInOff, kInLen)), kInOff, a.length(kInLen));
    });
  }
  const std::string twoTold = kSessionTold + kInTold + " in=\"secret other\"";
  for (const std::string& function : functionsOf("twoBytes")) {
    made.add(function, twoTold, [](Arguments& a) {
      return NATIVE(twoBytes)(a.jni, nullptr, a.module, a.index, kSession, a.bytes("one", a.sized(kIn, kInOff, kInLen)),
                              kInOff, a.length(kInLen), a.bytes("other", a.sized("+secret other+", 1, 12)), 1,
                              a.length(12));
    });
    made.direct(function, twoTold, [](Arguments& a) {
      return NATIVE(twoBytesDirect)(a.jni, nullptr, a.module, a.index, kSession,
                                    a.directBuffer("one", a.sized(kIn, kInOff, kInLen)), kInOff, a.length(kInLen),
                                    a.bytes("other", a.sized("+secret other+", 1, 12)), 1, a.length(12));
    });
  }
  const std::string random = "out \"----" + puppet::output("C_GenerateRandom", kOutLen) + "--\"";
  made.add(
      "C_GenerateRandom", kSessionTold + kOutTold,
      [](Arguments& a) {
        return NATIVE(fill)(a.jni, nullptr, a.module, a.index, kSession,
                            a.bytes("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff, a.length(kOutLen));
      },
      random);
  made.direct(
      "C_GenerateRandom", kSessionTold + kOutTold,
      [](Arguments& a) {
        return NATIVE(fillDirect)(a.jni, nullptr, a.module, a.index, kSession,
                                  a.directBuffer("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff, a.length(kOutLen));
      },
      random);
  for (const std::string& function : functionsOf("process")) {
    const std::string told = kSessionTold + kInTold + kOutTold;
    made.addLong(function, "process", told, lengthOf(function), outWith(function), [](Arguments& a) {
      return NATIVE(process)(a.jni, nullptr, a.module, a.index, kSession, a.bytes("in", a.sized(kIn, kInOff, kInLen)),
                             kInOff, a.length(kInLen), a.bytes("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff,
                             a.length(kOutLen));
    });
    made.addLong(function, "processDirect", told, lengthOf(function), outWith(function), [](Arguments& a) {
      return NATIVE(processDirect)(a.jni, nullptr, a.module, a.index, kSession,
                                   a.directBuffer("in", a.sized(kIn, kInOff, kInLen)), kInOff, a.length(kInLen),
                                   a.directBuffer("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff, a.length(kOutLen));
    });
  }
  for (const std::string& function : functionsOf("output")) {
    const std::string told = kSessionTold + kOutTold;
    made.addLong(function, "output", told, lengthOf(function), outWith(function), [](Arguments& a) {
      return NATIVE(output)(a.jni, nullptr, a.module, a.index, kSession,
                            a.bytes("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff, a.length(kOutLen));
    });
    made.addLong(function, "outputDirect", told, lengthOf(function), outWith(function), [](Arguments& a) {
      return NATIVE(outputDirect)(a.jni, nullptr, a.module, a.index, kSession,
                                  a.directBuffer("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff, a.length(kOutLen));
    });
  }
}

void addMechanisms(Made& made) {
  for (const std::string& function : functionsOf("init")) {
    made.add(function, kSessionTold + kMechanismTold, [](Arguments& a) {
      return NATIVE(init)(a.jni, nullptr, a.module, a.index, kSession, kMechanism,
                          a.directBuffer("parameter", aParameter(a)));
    });
  }
  for (const std::string& function : functionsOf("keyedInit")) {
    made.add(function, kSessionTold + kMechanismTold + kObjectTold, [](Arguments& a) {
      return NATIVE(keyedInit)(a.jni, nullptr, a.module, a.index, kSession, kMechanism,
                               a.directBuffer("parameter", aParameter(a)), kObject);
    });
  }
}

void addMessages(Made& made) {
  const std::string parameterTold = " parameter=16:\"secret parameter\"";
  const std::string aadTold = " in=\"secret aad\"";
  for (const std::string& function : functionsOf("message")) {
    made.addLong(function, "message", kSessionTold + parameterTold + aadTold + kInTold + kOutTold, lengthOf(function),
                 outWith(function), [](Arguments& a) {
                   return NATIVE(message)(
                       a.jni, nullptr, a.module, a.index, kSession, a.directBuffer("parameter", aParameter(a)),
                       a.bytes("aad", a.sized("secret aad")), a.bytes("in", a.sized(kIn, kInOff, kInLen)), kInOff,
                       a.length(kInLen), a.bytes("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff, a.length(kOutLen));
                 });
  }
  for (const std::string& function : functionsOf("messageBegin")) {
    made.add(function, kSessionTold + parameterTold + aadTold, [](Arguments& a) {
      return NATIVE(messageBegin)(a.jni, nullptr, a.module, a.index, kSession,
                                  a.directBuffer("parameter", aParameter(a)), a.bytes("aad", a.sized("secret aad")));
    });
  }
  for (const std::string& function : functionsOf("messagePart")) {
    made.addLong(function, "messagePart", kSessionTold + parameterTold + kInTold + kOutTold + kFlagsTold,
                 lengthOf(function), outWith(function), [](Arguments& a) {
                   return NATIVE(messagePart)(
                       a.jni, nullptr, a.module, a.index, kSession, a.directBuffer("parameter", aParameter(a)),
                       a.bytes("in", a.sized(kIn, kInOff, kInLen)), kInOff, a.length(kInLen),
                       a.bytes("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff, a.length(kOutLen), kFlags);
                 });
  }
  for (const std::string& function : functionsOf("signedBegin")) {
    made.add(function, kSessionTold + parameterTold, [](Arguments& a) {
      return NATIVE(signedBegin)(a.jni, nullptr, a.module, a.index, kSession,
                                 a.directBuffer("parameter", aParameter(a)));
    });
  }
  made.addLong("C_SignMessage", "signMessage", kSessionTold + parameterTold + kInTold + kOutTold,
               lengthOf("C_SignMessage"), outWith("C_SignMessage"), [](Arguments& a) {
                 return NATIVE(signMessage)(
                     a.jni, nullptr, a.module, a.index, kSession, a.directBuffer("parameter", aParameter(a)),
                     a.bytes("in", a.sized(kIn, kInOff, kInLen)), kInOff, a.length(kInLen),
                     a.bytes("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff, a.length(kOutLen));
               });
  made.addLong("C_SignMessageNext", "signPart", kSessionTold + parameterTold + kInTold + kOutTold,
               lengthOf("C_SignMessageNext"), outWith("C_SignMessageNext"), [](Arguments& a) {
                 return NATIVE(signPart)(a.jni, nullptr, a.module, a.index, kSession,
                                         a.directBuffer("parameter", aParameter(a)),
                                         a.bytes("in", a.sized(kIn, kInOff, kInLen)), kInOff, a.length(kInLen),
                                         a.bytes("out", a.sized(kOut, kOutOff, kOutLen)), kOutOff, a.length(kOutLen));
               });

  for (const std::string& function : functionsOf("verifyMessage")) {
    made.add(function, kSessionTold + parameterTold + kInTold + " in=\"secret signature\"", [](Arguments& a) {
      return NATIVE(verifyMessage)(a.jni, nullptr, a.module, a.index, kSession,
                                   a.directBuffer("parameter", aParameter(a)),
                                   a.bytes("in", a.sized(kIn, kInOff, kInLen)), kInOff, a.length(kInLen),
                                   a.bytes("signature", a.sized("secret signature")));
    });
  }
}

void addObjects(Made& made) {
  made.add(
      "C_CreateObject", kSessionTold + kTemplateTold + " number",
      [](Arguments& a) {
        return NATIVE(create)(a.jni, nullptr, a.module, kSession, a.bytes("template", aTemplate(a)),
                              a.longs("object", {7}));
      },
      "object " + kHandles[0]);
  made.add(
      "C_CopyObject", kSessionTold + kObjectTold + kTemplateTold + " number",
      [](Arguments& a) {
        return NATIVE(copy)(a.jni, nullptr, a.module, kSession, kObject, a.bytes("template", aTemplate(a)),
                            a.longs("copy", {7}));
      },
      "copy " + kHandles[0]);
  for (const std::string& function : functionsOf("attributes")) {
    made.add(function, kSessionTold + kObjectTold + kTemplateTold, [](Arguments& a) {
      return NATIVE(attributes)(a.jni, nullptr, a.module, a.index, kSession, kObject,
                                a.bytes("template", aTemplate(a)));
    });
  }
  made.add("C_FindObjectsInit", kSessionTold + kTemplateTold, [](Arguments& a) {
    return NATIVE(findInit)(a.jni, nullptr, a.module, kSession, a.bytes("template", aTemplate(a)));
  });
  made.addLong("C_FindObjects", "find", kSessionTold + " list=4", 3,
               "objects [-6917529027641081855, -6917529027641081854, -6917529027641081853, 7]", [](Arguments& a) {
                 return NATIVE(find)(a.jni, nullptr, a.module, kSession, a.longs("objects", a.sevens(4)));
               });
}

void addKeys(Made& made) {
  made.add(
      "C_GenerateKey", kSessionTold + kMechanismTold + kTemplateTold + " number",
      [](Arguments& a) {
        return NATIVE(generateKey)(a.jni, nullptr, a.module, kSession, kMechanism, a.bytes("parameter", aParameter(a)),
                                   a.bytes("template", aTemplate(a)), a.longs("key", {7}));
      },
      "key " + kHandles[0]);
  made.add(
      "C_GenerateKeyPair", kSessionTold + kMechanismTold + kTemplateTold + " [0xCB7 12:\"secret other\"] number number",
      [](Arguments& a) {
        return NATIVE(generateKeyPair)(a.jni, nullptr, a.module, kSession, kMechanism,
                                       a.bytes("parameter", aParameter(a)), a.bytes("publicTemplate", aTemplate(a)),
                                       a.bytes("privateTemplate", templateBytes({{0xCB7, a.sized("secret other")}})),
                                       a.longs("keys", {7, 7}));
      },
      "keys " + kHandles[1]);
  std::string filled = kOut;
  filled.replace(0, 11, "<C_WrapKey>");
  made.addLong("C_WrapKey", "wrapKey", kSessionTold + kMechanismTold + kObjectTold + kOtherTold + " room=44",
               lengthOf("C_WrapKey"), "out " + puppet::shown(filled), [](Arguments& a) {
                 return NATIVE(wrapKey)(a.jni, nullptr, a.module, kSession, kMechanism,
                                        a.bytes("parameter", aParameter(a)), kObject, kOther,
                                        a.bytes("out", a.sized(kOut)));
               });
  made.add(
      "C_UnwrapKey", kSessionTold + kMechanismTold + kObjectTold + kInTold + kTemplateTold + " number",
      [](Arguments& a) {
        return NATIVE(unwrapKey)(a.jni, nullptr, a.module, kSession, kMechanism, a.bytes("parameter", aParameter(a)),
                                 kObject, a.bytes("wrapped", a.sized(kIn, kInOff, kInLen)), kInOff, a.length(kInLen),
                                 a.bytes("template", aTemplate(a)), a.longs("key", {7}));
      },
      "key " + kHandles[0]);
  made.add(
      "C_DeriveKey", kSessionTold + kMechanismTold + kObjectTold + kTemplateTold + " number",
      [](Arguments& a) {
        return NATIVE(deriveKey)(a.jni, nullptr, a.module, kSession, kMechanism, a.bytes("parameter", aParameter(a)),
                                 kObject, a.bytes("template", aTemplate(a)), a.longs("key", {7}));
      },
      "key " + kHandles[0]);
}

}  // namespace

const std::vector<Call>& calls() {
  static const std::vector<Call> all = [] {
    Made made;
    addModule(made);
    addIds(made);
    addSessions(made);
    addBytes(made);
    addMechanisms(made);
    addMessages(made);
    addObjects(made);
    addKeys(made);
    return made.all;
  }();
  return all;
}

const Call& callOf(const std::string& name) {
  const auto found =
      std::find_if(calls().begin(), calls().end(), [&name](const Call& call) { return call.name == name; });
  if (found == calls().end()) {
    throw std::invalid_argument(name);
  }
  return *found;
}

}  // namespace functions
