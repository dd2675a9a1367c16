# The bundle as macOS lays it out: lumext.bundle/Contents with Info.plist, MacOS, Resources, and the placeholder framework
# in Frameworks.
set_target_properties(lumext PROPERTIES
  BUNDLE ON BUNDLE_EXTENSION bundle
  LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}"
  MACOSX_BUNDLE_INFO_PLIST "${CMAKE_CURRENT_SOURCE_DIR}/resources/Info.plist.in"
  BUILD_RPATH "@loader_path/../Frameworks" INSTALL_RPATH "@loader_path/../Frameworks" BUILD_WITH_INSTALL_RPATH ON)
set_property(TARGET lumext APPEND PROPERTY LINK_DEPENDS ${LUM_BUNDLE_RESOURCES})
set(contents "$<TARGET_BUNDLE_CONTENT_DIR:lumext>")
set(library "${contents}/Frameworks/$<TARGET_SONAME_FILE_NAME:lumfuzzywindow>")
add_custom_command(TARGET lumext POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E make_directory "${contents}/Resources" "${contents}/Frameworks"
  COMMAND ${CMAKE_COMMAND} -E copy_if_different ${LUM_BUNDLE_RESOURCES} "${contents}/Resources"
  COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:lumfuzzywindow> "${library}"
  VERBATIM)
if(LUM_CODESIGN)
  # Nothing that is not signed runs on arm64. "-" signs for this machine alone; the nested library comes first.
  set(LUM_SIGNATURE "-" CACHE STRING "Identity that codesign signs the bundle with")
  add_custom_command(TARGET lumext POST_BUILD
    COMMAND ${LUM_CODESIGN} --force --sign "${LUM_SIGNATURE}" "${library}"
    COMMAND ${LUM_CODESIGN} --force --sign "${LUM_SIGNATURE}" "$<TARGET_BUNDLE_DIR:lumext>"
    VERBATIM)
endif()
install(DIRECTORY "$<TARGET_BUNDLE_DIR:lumext>" DESTINATION "${LUM_PARTS_FOLDER}" USE_SOURCE_PERMISSIONS)
