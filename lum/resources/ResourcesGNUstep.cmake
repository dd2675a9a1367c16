set(LUM_BUNDLE_RESOURCES
  "${CMAKE_CURRENT_BINARY_DIR}/Info-gnustep.plist"
  "${CMAKE_CURRENT_SOURCE_DIR}/progressWindow.xib"
  "${CMAKE_CURRENT_SOURCE_DIR}/warninglogo.png")
foreach(language IN LISTS LUM_LANGUAGES)
  list(APPEND LUM_BUNDLE_RESOURCES "${CMAKE_CURRENT_SOURCE_DIR}/Localizable_${language}.strings"
    "${PROJECT_SOURCE_DIR}/lum/platform/linux/trust/resources/CertificateTrustPanel_${language}.strings")
endforeach()
configure_file(Info-gnustep.plist.in Info-gnustep.plist @ONLY)

set(copies)
foreach(resource IN LISTS LUM_BUNDLE_RESOURCES)
  cmake_path(GET resource FILENAME name)
  set(copy "${PROJECT_BINARY_DIR}/lumext.bundle/Resources/${name}")
  add_custom_command(OUTPUT "${copy}" DEPENDS "${resource}"
    COMMAND ${CMAKE_COMMAND} -E copy "${resource}" "${copy}" VERBATIM)
  list(APPEND copies "${copy}")
endforeach()
add_custom_target(lumext_resources ALL DEPENDS ${copies})
add_dependencies(lumext lumext_resources lum_theme lumfront)
install(FILES ${LUM_BUNDLE_RESOURCES} DESTINATION "${LUM_BUNDLE_FOLDER}/Resources")
