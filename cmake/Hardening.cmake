# What distributions build their libraries with: for code that runs inside of other people's processes, beside modules
# that nobody can vouch for. Instruments have checks of their own, which do not go together with these.
add_library(harlune_hardening INTERFACE)
if(NOT HARLUNE_SANITIZE AND NOT HARLUNE_COVERAGE)
  target_compile_options(harlune_hardening INTERFACE
    -fstack-protector-strong -fstack-clash-protection -fcf-protection=full
    # The C library's checks want the optimiser's knowledge of sizes.
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE> $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=3>)

  # The control-flow notes hold for a library only if all of its parts have them. The C library's own start files have
  # none; they are there for `_init` and `_fini`, which nothing needs since constructors come in arrays. So the
  # compiler's alone are linked in.
  foreach(file crtbeginS.o crtendS.o)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${file}
      OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    list(APPEND start_files ${path})
  endforeach()
  list(GET start_files 0 crtbegin)
  list(GET start_files 1 crtend)
  target_link_options(harlune_hardening INTERFACE -nostartfiles ${crtbegin} -Wl,-z,cet-report=error)
  target_link_libraries(harlune_hardening INTERFACE ${crtend})
endif()
target_link_options(harlune_hardening INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
