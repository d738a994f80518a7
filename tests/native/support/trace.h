/// Journals as tests read them: lines with the well-formed, ever-repeated sequences folded into one line each.
///
///   report "J_Sign" 5 "Data is NULL"      the whole of reporting a text
///   report "J_Sign" 0x91                  the whole of reporting a return value, its padded description included
///   sessionOf session                     class, field, and int read of a session object's handle
///
/// A sequence that is not exactly right stays expanded, so a test sees what is wrong with it.
#pragma once

#include <string>
#include <vector>

namespace jvm {

std::vector<std::string> folded(const std::vector<std::string>& journal);

/// The lines of an expectation: trimmed, without empty lines and without lines that start with `#`.
std::vector<std::string> expectedLines(const std::string& text);

/// Only the lines that are calls of the module.
std::vector<std::string> moduleLines(const std::vector<std::string>& journal);

std::string joined(const std::vector<std::string>& lines);

/// The 34 characters that a return value's description must have; independent of the library's own table.
std::string paddedDescription(unsigned long Rv);

}  // namespace jvm
