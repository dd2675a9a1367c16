# Builds the extension for macOS on another system, with clang, lld and LLVM's tools of version 16 or later:
#   cmake -G Ninja -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/macos.cmake -DLUM_MACOS_SDK=DIR ...
# LUM_MACOS_SDK: the folder of macOS's headers and link stubs; docs/dev/macos.md says what it holds and where it comes
# from. On macOS itself no toolchain file is needed.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_VERSION 19) # of macOS 10.15
set(CMAKE_SYSTEM_PROCESSOR x86_64)

list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LUM_MACOS_SDK)
if(NOT IS_ABSOLUTE "${LUM_MACOS_SDK}" OR
   NOT EXISTS "${LUM_MACOS_SDK}/System/Library/Frameworks/AppKit.framework")
  message(FATAL_ERROR "LUM_MACOS_SDK must be the absolute path of a folder with macOS's headers and link stubs, but "
    "\"${LUM_MACOS_SDK}\" has no System/Library/Frameworks/AppKit.framework. docs/dev/macos.md says where they come from.")
endif()
set(CMAKE_OSX_SYSROOT "${LUM_MACOS_SDK}" CACHE PATH "The headers and link stubs of macOS" FORCE)

# The newest version of which all tools are there.
foreach(version RANGE 30 16 -1)
  find_program(LUM_CLANG_${version} clang-${version})
  find_program(LUM_LLD_${version} ld64.lld-${version})
  find_program(LUM_LIPO_${version} llvm-lipo-${version})
  mark_as_advanced(LUM_CLANG_${version} LUM_LLD_${version} LUM_LIPO_${version})
  if(LUM_CLANG_${version} AND LUM_LLD_${version} AND LUM_LIPO_${version})
    set(LUM_LLVM_VERSION ${version})
    break()
  endif()
endforeach()
if(NOT LUM_LLVM_VERSION)
  message(FATAL_ERROR "clang, lld and llvm of one version, 16 or later, are needed: "
    "clang-16, ld64.lld-16, llvm-lipo-16 and so on (apt-get install clang-16 lld-16 llvm-16)")
endif()

set(tools "${CMAKE_BINARY_DIR}/macos-tools") # clang joins processors with a program of this name
file(MAKE_DIRECTORY "${tools}")
file(CREATE_LINK "${LUM_LIPO_${LUM_LLVM_VERSION}}" "${tools}/lipo" SYMBOLIC)
get_filename_component(source "${CMAKE_CURRENT_LIST_DIR}/../.." ABSOLUTE)
foreach(language IN ITEMS C CXX OBJC OBJCXX)
  set(CMAKE_${language}_COMPILER "${LUM_CLANG_${LUM_LLVM_VERSION}}")
  set(CMAKE_${language}_COMPILER_TARGET x86_64-apple-macosx) # without a version: each processor has one of its own
  # No path of this machine gets into what is built.
  set(CMAKE_${language}_FLAGS_INIT "-B${tools} -ffile-prefix-map=${source}/= -ffile-prefix-map=${LUM_MACOS_SDK}/=")
endforeach()
foreach(language IN ITEMS CXX OBJCXX)
  string(APPEND CMAKE_${language}_FLAGS_INIT " -stdlib=libc++")
  string(REPLACE "clang-" "clang++-" CMAKE_${language}_COMPILER "${CMAKE_${language}_COMPILER}")
endforeach()
foreach(kind IN ITEMS EXE SHARED MODULE)
  # -S: without the list of object files, which is for a debugger on the machine that has them.
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-fuse-ld=lld --ld-path=${LUM_LLD_${LUM_LLVM_VERSION}} -Wl,-S")
endforeach()
foreach(tool IN ITEMS ar ranlib nm strip otool install_name_tool objdump)
  string(TOUPPER ${tool} name)
  string(REPLACE "_" "-" tool ${tool})
  find_program(CMAKE_${name} llvm-${tool}-${LUM_LLVM_VERSION} REQUIRED)
endforeach()
find_program(LUM_LIBTOOL llvm-libtool-darwin-${LUM_LLVM_VERSION} REQUIRED)
set(CMAKE_USER_MAKE_RULES_OVERRIDE "${CMAKE_CURRENT_LIST_DIR}/macos-rules.cmake")

set(CMAKE_FIND_ROOT_PATH "${LUM_MACOS_SDK}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind IN ITEMS LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()

# The headers of two libraries of which nothing is linked, set apart from this system's other headers.
set(LUM_OTHER_HEADERS "${CMAKE_BINARY_DIR}/other-headers")
file(GLOB headers /usr/include/openssl/*.h /usr/include/*-linux-gnu*/openssl/*.h)
file(COPY ${headers} DESTINATION "${LUM_OTHER_HEADERS}/openssl")
file(GLOB headers /usr/include/tl/expected.hpp)
file(COPY ${headers} DESTINATION "${LUM_OTHER_HEADERS}/tl")
