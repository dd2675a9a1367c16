# Checks that the compiler builds into the programs.
if(LUM_SANITIZE AND LUM_THREADS)
  message(FATAL_ERROR "LUM_SANITIZE and LUM_THREADS exclude each other")
endif()
if(LUM_SANITIZE)
  # libobjc's message dispatch calls methods through a common type, so that one check does not apply.
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize=vptr
    -O1 -g1) # half the time to build, and reports still name lines
  add_link_options(-fsanitize=address,undefined -fno-sanitize=vptr)
endif()
if(LUM_THREADS)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer -O1 -g1)
  add_link_options(-fsanitize=thread)
endif()
