# What macOS itself offers, under the names that the folders link, and the headers of two libraries: tl::expected has
# nothing else, and libcrypto's code is opened at run time only.
find_path(LUM_EXPECTED_HEADERS tl/expected.hpp HINTS "${LUM_OTHER_HEADERS}" REQUIRED NO_CMAKE_FIND_ROOT_PATH)
find_path(LUM_OPENSSL_HEADERS openssl/rsa.h HINTS "${LUM_OTHER_HEADERS}" REQUIRED NO_CMAKE_FIND_ROOT_PATH)
set(LIBCRYPTO_INCLUDE_DIRS "${LUM_OPENSSL_HEADERS}")

add_library(tl_expected INTERFACE)
target_include_directories(tl_expected SYSTEM INTERFACE "${LUM_EXPECTED_HEADERS}")
add_library(tl::expected ALIAS tl_expected)

add_library(lum_foundation INTERFACE)
target_link_libraries(lum_foundation INTERFACE "-framework Foundation" "-framework CoreServices" "-framework Security")
target_compile_options(lum_foundation INTERFACE
  -Wno-deprecated-declarations # the calls that the extension is made of
  -Werror=unguarded-availability) # what the first version does not have
add_library(lum_appkit INTERFACE)
target_link_libraries(lum_appkit INTERFACE lum_foundation "-framework AppKit" "-framework Carbon"
  "-framework ApplicationServices" "-framework SecurityInterface")

# Tools of macOS itself; another system may have others of these names.
if(NOT CMAKE_CROSSCOMPILING)
  find_program(LUM_IBTOOL ibtool) # of Xcode, not of the command-line tools
  find_program(LUM_PLUTIL plutil REQUIRED)
  find_program(LUM_CODESIGN codesign REQUIRED)
endif()
find_program(LUM_ICONV iconv REQUIRED)

# arm64 begins with another version than x86_64, and CMake knows one for both.
set(LUM_ARM64_VERSION 12.0)
if(CMAKE_GENERATOR STREQUAL "Xcode")
  set(CMAKE_XCODE_ATTRIBUTE_MACOSX_DEPLOYMENT_TARGET[arch=arm64] ${LUM_ARM64_VERSION})
elseif("arm64" IN_LIST CMAKE_OSX_ARCHITECTURES)
  add_compile_options("SHELL:-Xarch_arm64 -mmacosx-version-min=${LUM_ARM64_VERSION}")
  add_link_options("SHELL:-Xarch_arm64 -mmacosx-version-min=${LUM_ARM64_VERSION}")
endif()
