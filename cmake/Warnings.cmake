# Warnings and checks for the project's own code.
add_compile_options(-Wall -Wextra -Wno-unknown-pragmas -fvisibility=hidden
                    "$<$<COMPILE_LANGUAGE:CXX,OBJCXX>:-fvisibility-inlines-hidden>"
                    "$<$<COMPILE_LANGUAGE:OBJCXX>:-Wno-subobject-linkage;-Wno-unused-parameter>")
if(LUM_SANITIZE)
  # libobjc's message dispatch calls methods through a common type, so that one check does not apply.
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize=vptr
    -O1 -g1) # half the time to build, and reports still name lines
  add_link_options(-fsanitize=address,undefined -fno-sanitize=vptr)
endif()
