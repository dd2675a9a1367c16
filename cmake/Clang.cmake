# clang for all four languages (a toolchain file; CMake looks up no program's name for the Objective-C ones).
find_program(LUM_CLANG clang REQUIRED)
find_program(LUM_CLANGXX clang++ REQUIRED)
set(CMAKE_C_COMPILER "${LUM_CLANG}")
set(CMAKE_OBJC_COMPILER "${LUM_CLANG}")
set(CMAKE_CXX_COMPILER "${LUM_CLANGXX}")
set(CMAKE_OBJCXX_COMPILER "${LUM_CLANGXX}")
