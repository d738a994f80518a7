# Sanitizers and coverage reach every target, the shipped library included.
if(HARLUNE_SANITIZE)
  add_compile_options(-fsanitize=${HARLUNE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${HARLUNE_SANITIZE})

  # The sanitizers of these compilers fail at random, in every fourth run, where the kernel scatters addresses over 32
  # bits. So their programs run without the scattering.
  execute_process(COMMAND setarch -R true RESULT_VARIABLE cannot_set_personality OUTPUT_QUIET ERROR_QUIET)
  if(NOT cannot_set_personality)
    set(CMAKE_CROSSCOMPILING_EMULATOR setarch -R)
  endif()
endif()
if(HARLUNE_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
