# The bundle, in the layout that GNUstep's NSBundle reads: lumext.bundle/lumext, Resources, and the placeholder framework
# in Frameworks, so that the folder can be copied as it is.
set(bundle "${PROJECT_BINARY_DIR}/lumext.bundle")
set_target_properties(lumext PROPERTIES
  PREFIX "" SUFFIX ""
  LIBRARY_OUTPUT_DIRECTORY "${bundle}"
  BUILD_RPATH "$ORIGIN/Frameworks" INSTALL_RPATH "$ORIGIN/Frameworks" BUILD_WITH_INSTALL_RPATH ON)
add_custom_command(TARGET lumext POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E make_directory "${bundle}/Frameworks"
  COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:lumfuzzywindow>
          "${bundle}/Frameworks/$<TARGET_SONAME_FILE_NAME:lumfuzzywindow>"
  VERBATIM)
install(TARGETS lumext EXPORT lumTargets LIBRARY DESTINATION "${LUM_BUNDLE_FOLDER}")
