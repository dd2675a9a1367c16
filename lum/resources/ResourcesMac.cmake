set(resources "${CMAKE_CURRENT_SOURCE_DIR}/warninglogo.png")

# macOS loads an interface file only when it is compiled. Where it cannot be, the bundle carries the description itself,
# from which lum/platform/InterfaceFile.h makes the window.
set(interface "${CMAKE_CURRENT_SOURCE_DIR}/progressWindow.xib")
if(LUM_IBTOOL)
  set(compiled "${CMAKE_CURRENT_BINARY_DIR}/progressWindow.nib")
  add_custom_command(OUTPUT "${compiled}" DEPENDS "${interface}"
    COMMAND ${LUM_IBTOOL} --compile "${compiled}" "${interface}" VERBATIM)
  list(APPEND resources "${compiled}")
else()
  message(STATUS "There is no ibtool, so the bundle carries the description of the progress window, not a compiled one")
  list(APPEND resources "${interface}")
endif()

# The tables as UTF-16 with a byte-order mark, which every version of macOS reads.
foreach(language IN LISTS LUM_LANGUAGES)
  set(source "${CMAKE_CURRENT_SOURCE_DIR}/Localizable_${language}.strings")
  set(table "${CMAKE_CURRENT_BINARY_DIR}/Localizable_${language}.strings")
  set(check)
  if(LUM_PLUTIL)
    set(check COMMAND ${LUM_PLUTIL} -lint -s "${table}")
  endif()
  add_custom_command(OUTPUT "${table}" DEPENDS "${source}"
    COMMAND sh -c "\"$1\" -f UTF-8 -t UTF-16LE \"$2\" > \"$3\"" sh "${LUM_ICONV}" "${source}" "${table}"
    ${check} VERBATIM)
  list(APPEND resources "${table}")
endforeach()

add_custom_target(lumext_resources DEPENDS ${resources})
add_dependencies(lumext lumext_resources)
set(LUM_BUNDLE_RESOURCES ${resources} PARENT_SCOPE)
