# Sanitizers and coverage reach every target, the shipped library included.
if(HARLUNE_SANITIZE)
  add_compile_options(-fsanitize=${HARLUNE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${HARLUNE_SANITIZE})
endif()
if(HARLUNE_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
