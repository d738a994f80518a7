/// What a load reads from the file system: where the module lies, and the configuration file beside it.
#pragma once

#include <string_view>

/// The path in a process map that first mentions `name`: from behind the last blank (or zero) before the mention to the
/// end of its line. An empty view with a null pointer when nothing mentions it.
std::string_view findMappedPath(std::string_view map, std::string_view name);

/// Whether "<modulePath>.conf" exists, can be read and declares that the signer PIN is the user PIN. Anything else,
/// a missing file included, leaves the second authentication required.
bool configurationDeclaresSignerPin(const char* modulePath);

/// Why the dynamic loader must not be given a file: it would wait for ever (a pipe, a device) or end the process (an
/// ELF file that is shorter than it says). Null when it may, and for a file that is not there or that the loader
/// refuses by itself. A name without a slash is looked for where the loader would look.
const char* whyNotToLoad(const char* library);
