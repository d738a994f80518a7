/// Structures as velnor.nat.Structure lays them out, and as it never would.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

class StructureBytes {
public:
  static constexpr std::size_t kHead = 16;
  static constexpr std::size_t kAttribute = 24;

  /// Begins a structure of zeroes.
  explicit StructureBytes(std::size_t length)
      : length_(static_cast<std::int32_t>(length)), block_(aligned(length), '\0') {}

  StructureBytes& number(std::size_t at, std::uint64_t value) {
    std::memcpy(&block_.at(at), &value, sizeof value);
    return *this;
  }
  /// Points from `at` to a new block with these bytes, and answers where it begins.
  std::size_t point(std::size_t at, const std::string& bytes) {
    const std::size_t begins = block_.size();
    block_ += bytes;
    block_.resize(aligned(block_.size() + (bytes.empty() ? 1 : 0)));
    pointTo(at, begins);
    return begins;
  }
  StructureBytes& pointTo(std::size_t at, std::size_t target) {
    number(at, target);
    pointers_.push_back(static_cast<std::int32_t>(at));
    return *this;
  }
  StructureBytes& comesBack() {
    comesBack_ = 1;
    return *this;
  }
  std::size_t size() const { return block_.size(); }

  std::string bytes() const {
    return made(
        {static_cast<std::int32_t>(block_.size()), length_, static_cast<std::int32_t>(pointers_.size()), comesBack_},
        block_, pointers_);
  }

  /// Whatever a caller wants, whole or not.
  static std::string made(const std::vector<std::int32_t>& head, const std::string& block,
                          const std::vector<std::int32_t>& pointers) {
    return words(head) + block + words(pointers);
  }

  /// The 64-bit number at a place of the block in such bytes.
  static std::uint64_t number(const std::string& bytes, std::size_t at) {
    std::uint64_t value = 0;
    std::memcpy(&value, bytes.data() + kHead + at, sizeof value);
    return value;
  }
  static std::string block(const std::string& bytes, std::size_t at, std::size_t size) {
    return bytes.substr(kHead + at, size);
  }

private:
  static std::size_t aligned(std::size_t size) { return (size + 7) / 8 * 8; }
  static std::string words(const std::vector<std::int32_t>& values) {
    return {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(std::int32_t)};
  }

  std::int32_t length_;
  std::int32_t comesBack_ = 0;
  std::string block_;
  std::vector<std::int32_t> pointers_;
};

/// An attribute of a template; one without a value has a null pointer.
struct AttributeBytes {
  std::uint64_t type;
  std::optional<std::string> value;
};

inline std::string templateBytes(const std::vector<AttributeBytes>& attributes) {
  StructureBytes made(attributes.size() * StructureBytes::kAttribute);
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    const std::size_t at = i * StructureBytes::kAttribute;
    made.number(at, attributes[i].type);
    if (const auto& value = attributes[i].value) {
      made.point(at + 8, *value);
      made.number(at + 16, value->size());
    }
  }
  return made.bytes();
}

/// A mechanism's parameter that is these bytes and nothing else.
inline std::string plainBytes(const std::string& bytes) {
  StructureBytes made(bytes.size());
  std::string whole = made.bytes();
  whole.replace(StructureBytes::kHead, bytes.size(), bytes);
  return whole;
}
