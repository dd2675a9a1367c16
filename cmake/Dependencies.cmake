if(APPLE)
  include(DependenciesMac)
  return()
endif()
# Everything from outside, as targets: gnustep::base, gnustep::gui and pkg-config's imported ones.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(tl-expected REQUIRED) # tl::expected
find_package(CLI11 REQUIRED)       # CLI11::CLI11
find_program(GNUSTEP_CONFIG gnustep-config REQUIRED)

execute_process(COMMAND ${GNUSTEP_CONFIG} --variable=GNUSTEP_SYSTEM_HEADERS OUTPUT_VARIABLE gnustep_headers
                OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND ${GNUSTEP_CONFIG} --objc-flags OUTPUT_VARIABLE gnustep_flags OUTPUT_STRIP_TRAILING_WHITESPACE)
separate_arguments(gnustep_flags)
# Definitions and the Objective-C dialect only: optimisation, warnings and folders are this build's own.
list(FILTER gnustep_flags INCLUDE REGEX "^(-D(GNU|_NATIVE).*|-fobjc-.*|-fexceptions|-fconstant-string-class=.*)$")
list(REMOVE_DUPLICATES gnustep_flags)

add_library(gnustep_base INTERFACE)
# CMake takes the Objective-C compiler's default to be newer than it is, and leaves the standard out.
target_compile_options(gnustep_base INTERFACE "$<$<COMPILE_LANGUAGE:OBJC,OBJCXX>:${gnustep_flags}>"
                       "$<$<COMPILE_LANGUAGE:OBJC>:-std=gnu11>")
target_include_directories(gnustep_base SYSTEM INTERFACE "${gnustep_headers}")
target_link_libraries(gnustep_base INTERFACE gnustep-base objc Threads::Threads m)
if(CMAKE_OBJCXX_COMPILER_ID STREQUAL "Clang")
  # clang takes another Objective-C runtime by itself, and does not have the headers of gcc's.
  execute_process(COMMAND gcc -print-file-name=include OUTPUT_VARIABLE gcc_headers OUTPUT_STRIP_TRAILING_WHITESPACE
                  COMMAND_ERROR_IS_FATAL ANY)
  target_compile_options(gnustep_base INTERFACE
    "$<$<COMPILE_LANGUAGE:OBJC,OBJCXX>:-fobjc-runtime=gcc;-Wno-unknown-warning-option;SHELL:-idirafter ${gcc_headers}>")
endif()
add_library(gnustep::base ALIAS gnustep_base)

add_library(gnustep_gui INTERFACE)
target_link_libraries(gnustep_gui INTERFACE gnustep-gui gnustep::base)
add_library(gnustep::gui ALIAS gnustep_gui)

# What the folders that are built on both systems link.
add_library(lum_foundation ALIAS gnustep_base)
add_library(lum_appkit ALIAS gnustep_gui)

pkg_check_modules(LIBCRYPTO REQUIRED IMPORTED_TARGET libcrypto)
pkg_check_modules(GNUTLS REQUIRED IMPORTED_TARGET gnutls)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
pkg_check_modules(IDN REQUIRED IMPORTED_TARGET libidn2)
pkg_check_modules(ARCHIVE REQUIRED IMPORTED_TARGET libarchive)
pkg_check_modules(LZMA REQUIRED IMPORTED_TARGET liblzma>=5.4)
pkg_check_modules(ZSTD REQUIRED IMPORTED_TARGET libzstd)
pkg_check_modules(SECCOMP REQUIRED IMPORTED_TARGET libseccomp)
pkg_check_modules(XXHASH REQUIRED IMPORTED_TARGET libxxhash)
pkg_check_modules(XCB REQUIRED IMPORTED_TARGET xcb xcb-res)
pkg_check_modules(LIBXML REQUIRED IMPORTED_TARGET libxml-2.0)
pkg_check_modules(JSON REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(MICROHTTPD REQUIRED IMPORTED_TARGET libmicrohttpd)
pkg_check_modules(FONTCONFIG REQUIRED IMPORTED_TARGET fontconfig)
pkg_check_modules(PANGO REQUIRED IMPORTED_TARGET pangocairo)
