#include "java_model.h"

#include <sstream>
#include <stdexcept>

namespace jvm {

std::string Member::parameterKinds() const {
  std::string kinds;
  for (std::size_t i = 1; i < signature.size() && signature[i] != ')'; ++i) {
    const bool array = signature[i] == '[';
    while (signature[i] == '[') {
      ++i;
    }
    kinds += array ? 'L' : signature[i];
    if (signature[i] == 'L') {
      i = signature.find(';', i);
    }
  }
  return kinds;
}

bool Class::isA(const Class* other) const {
  for (const Class* c = this; c != nullptr; c = c->super) {
    if (c == other) {
      return true;
    }
  }
  return false;
}

Classes::Classes(const char* contract) {
  std::istringstream lines(contract);
  std::string line;
  Class* current = nullptr;
  while (std::getline(lines, line)) {
    std::istringstream words(line);
    std::string word;
    if (!(words >> word)) {
      continue;
    }
    if (line.front() != ' ') {
      current = &define(word);
      std::string colon;
      std::string super;
      if (words >> colon >> super) {
        current->super = &define(super);
      }
      continue;
    }
    if (current == nullptr) {
      throw std::logic_error("a member without a class: " + line);
    }
    Member member{current, word, "", word == "static", {}};
    if (member.isStatic) {
      words >> member.name;
    }
    words >> member.signature;
    for (std::string field; words >> field;) {
      member.assigns.push_back(field);
    }
    current->members.push_back(member);
  }
}

Class* Classes::find(const std::string& name) {
  const auto found = classes_.find(name);
  return found == classes_.end() ? nullptr : &found->second;
}

Class& Classes::define(const std::string& name) {
  if (Class* const known = find(name)) {
    return *known;
  }
  const Class* const root = name == "java/lang/Object" ? nullptr : &define("java/lang/Object");
  return classes_.emplace(name, Class{name, root, {}}).first->second;
}

Member* Classes::member(const Class* type, const std::string& name, const std::string& signature, bool isStatic) {
  for (const Class* c = type; c != nullptr; c = c->super) {
    for (Member& member : classes_.at(c->name).members) {
      if (member.name == name && member.signature == signature && member.isStatic == isStatic) {
        return &member;
      }
    }
    if (name == "<init>") {
      break;
    }
  }
  return nullptr;
}

namespace {

void appendUnit(std::string& out, char32_t unit) {
  const auto byte = [](char32_t bits) { return static_cast<char>(static_cast<unsigned char>(bits)); };
  if (unit < 0x80) {
    out += byte(unit);
  } else if (unit < 0x800) {
    out += byte(0xC0 | unit >> 6);
    out += byte(0x80 | (unit & 0x3F));
  } else if (unit < 0x10000) {
    out += byte(0xE0 | unit >> 12);
    out += byte(0x80 | (unit >> 6 & 0x3F));
    out += byte(0x80 | (unit & 0x3F));
  } else {
    out += byte(0xF0 | unit >> 18);
    out += byte(0x80 | (unit >> 12 & 0x3F));
    out += byte(0x80 | (unit >> 6 & 0x3F));
    out += byte(0x80 | (unit & 0x3F));
  }
}

}  // namespace

std::u16string fromUtf8(const std::string& bytes) {
  std::u16string result;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const std::size_t more = lead < 0x80 ? 0 : lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC2 ? 1 : 4;
    char32_t point = more == 0 ? lead : lead & (0x3FU >> more);
    bool valid = more <= 3 && i + more < bytes.size() && lead < 0xF8;
    for (std::size_t k = 1; valid && k <= more; ++k) {
      const auto next = static_cast<unsigned char>(bytes[i + k]);
      valid = (next & 0xC0) == 0x80;
      point = point << 6 | (next & 0x3F);
    }
    if (!valid || point > 0x10FFFF) {
      result += u'\uFFFD';
      ++i;
      continue;
    }
    if (point >= 0x10000) {
      result += static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10));
      result += static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF));
    } else {
      result += static_cast<char16_t>(point);
    }
    i += more + 1;
  }
  return result;
}

// Modified UTF-8 spells every UTF-16 unit by itself, a zero as two bytes, and has no four-byte form.
std::u16string fromModifiedUtf8(const std::string& bytes) {
  std::u16string result;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto lead = static_cast<unsigned char>(bytes[i]);
    const auto continuation = [&](std::size_t k) {
      return i + k < bytes.size() ? static_cast<unsigned>(static_cast<unsigned char>(bytes[i + k]) & 0x3F) : 0U;
    };
    if (lead < 0x80) {
      result += static_cast<char16_t>(lead);
      i += 1;
    } else if ((lead & 0xE0) == 0xC0) {
      result += static_cast<char16_t>((lead & 0x1FU) << 6 | continuation(1));
      i += 2;
    } else if ((lead & 0xF0) == 0xE0) {
      result += static_cast<char16_t>((lead & 0x0FU) << 12 | continuation(1) << 6 | continuation(2));
      i += 3;
    } else {
      result += u'\uFFFD';
      i += 1;
    }
  }
  return result;
}

std::string toUtf8(const std::u16string& text) {
  std::string result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t point = text[i];
    if (point >= 0xD800 && point < 0xDC00 && i + 1 < text.size()) {
      point = 0x10000 + ((point - 0xD800) << 10) + (text[++i] - 0xDC00U);
    }
    appendUnit(result, point);
  }
  return result;
}

std::string toModifiedUtf8(const std::u16string& text) {
  std::string result;
  for (const char16_t unit : text) {
    if (unit == 0) {
      result += "\xC0\x80";
    } else {
      appendUnit(result, unit);
    }
  }
  return result;
}

}  // namespace jvm
