# What CMake learns of macOS from commands of macOS, and what ar cannot: objects for several processors in one archive.
set(CMAKE_SHARED_LIBRARY_RUNTIME_C_FLAG "-Wl,-rpath,")
foreach(language IN ITEMS C CXX OBJC OBJCXX)
  set(CMAKE_${language}_CREATE_STATIC_LIBRARY "\"${LUM_LIBTOOL}\" -static -o <TARGET> <OBJECTS>")
endforeach()
