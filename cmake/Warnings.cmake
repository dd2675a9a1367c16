# Warnings for the project's own code. Other libraries' headers are system headers, which do not warn.
add_compile_options(-Wall -Wextra -Wshadow -Wconversion -Wundef -Wformat=2 -fvisibility=hidden)
add_compile_options("$<$<COMPILE_LANGUAGE:CXX,OBJCXX>:-Wnon-virtual-dtor;-fvisibility-inlines-hidden>")
# Not in Objective-C++: nil and Foundation's macros are such casts, and so is each bridge between an object and its
# reference in C.
add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>")
# A method has the arguments that its selector asks for, used or not; and a text in the user's language is a format,
# which is held against the English one when it is loaded.
add_compile_options("$<$<COMPILE_LANGUAGE:OBJC,OBJCXX>:-Wno-unused-parameter;-Wno-format-nonliteral>")
# gcc takes an instance variable whose type is in an anonymous namespace for a fault.
if(CMAKE_OBJCXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options("$<$<COMPILE_LANGUAGE:OBJCXX>:-Wno-subobject-linkage>")
  # Not with checks built in: the code that they add misleads the warnings about values.
  if(LUM_WERROR AND NOT LUM_SANITIZE AND NOT LUM_THREADS)
    add_compile_options(-Werror)
  endif()
endif()
