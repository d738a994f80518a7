# Every C++ target of the project is held to these, in GCC and Clang alike.
add_library(harlune_warnings INTERFACE)
target_compile_options(harlune_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
