# A program that prints the size of each structure of include/pkcs11.h that Java lays out, and where its members are, and
# what it prints: `structures`.
set(structures_header ${PROJECT_SOURCE_DIR}/include/pkcs11.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${structures_header})
file(STRINGS ${structures_header} structures_lines)
set(structure "")
set(rows "")
foreach(line IN LISTS structures_lines)
  if(line MATCHES "^struct (CK_(ATTRIBUTE|VERSION|DERIVED_KEY|.*_(CONTEXT|DATA|FORMAT|OUT|PARAM|PARAMS2?)|.*INFO)) {$")
    set(structure ${CMAKE_MATCH_1})
    string(APPEND rows "  std::printf(\"${structure} - 0 %zu\\n\", sizeof(${structure}));\n")
  elseif(line STREQUAL "};")
    set(structure "")
  elseif(structure AND line MATCHES "^  [A-Z0-9_]+ ([A-Za-z0-9]+)(\\[[0-9]+\\])?;")
    set(member ${CMAKE_MATCH_1})
    string(APPEND rows "  std::printf(\"${structure} ${member} %zu %zu\\n\", offsetof(${structure}, ${member}), "
      "sizeof(${structure}::${member}));\n")
  elseif(structure)
    message(FATAL_ERROR "${structures_header}: not a member of ${structure}: ${line}")
  endif()
endforeach()
file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/structures.cpp @ONLY CONTENT [[
#include <pkcs11.h>

#include <cstddef>
#include <cstdio>

int main() {
@rows@}
]])
add_executable(structures EXCLUDE_FROM_ALL ${CMAKE_CURRENT_BINARY_DIR}/structures.cpp)
target_include_directories(structures PRIVATE ${PROJECT_SOURCE_DIR}/include)
target_link_libraries(structures PRIVATE harlune_warnings)
set(structures ${CMAKE_CURRENT_BINARY_DIR}/structures.txt)
add_custom_command(OUTPUT ${structures}
  COMMAND structures > ${structures}
  DEPENDS structures
  VERBATIM)
add_custom_target(structures_printed DEPENDS ${structures})
