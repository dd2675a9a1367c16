# The distribution's package: `./run package`, or cpack in a build folder that was configured with
# -DCMAKE_INSTALL_PREFIX=/usr.
option(LUM_DEBIAN "Install what only the distribution's package has" OFF)
if(LUM_DEBIAN)
  set(debian "${CMAKE_CURRENT_BINARY_DIR}/debian")
  file(READ "${PROJECT_SOURCE_DIR}/LICENSE" license)
  string(REGEX REPLACE "^MIT License\n\nCopyright \\(c\\) ([^\n]*)\n\n" "" license "${license}")
  set(LUM_COPYRIGHT_HOLDER "${CMAKE_MATCH_1}")
  string(STRIP "${license}" license)
  string(REPLACE "\n\n" "\n.\n" license "${license}")
  string(REPLACE "\n" "\n " LUM_LICENSE "${license}")
  configure_file(debian/copyright.in "${debian}/copyright" @ONLY)
  configure_file(debian/changelog.in "${debian}/changelog" @ONLY)
  execute_process(COMMAND gzip -9nf "${debian}/changelog" COMMAND_ERROR_IS_FATAL ANY)
  install(FILES "${debian}/copyright" "${debian}/changelog.gz" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
  install(FILES debian/lintian-overrides DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides" RENAME lum)

  # What `lumhost browser install --system` would write.
  add_executable(hostmanifests HostManifests.cpp)
  target_link_libraries(hostmanifests PRIVATE lumhost_container)
  add_custom_command(OUTPUT "${debian}/conffiles" DEPENDS hostmanifests
    COMMAND hostmanifests "${debian}" "${CMAKE_INSTALL_FULL_BINDIR}/lumhost" VERBATIM)
  add_custom_target(lum_debian ALL DEPENDS "${debian}/conffiles")
  install(DIRECTORY "${debian}/root/" DESTINATION / USE_SOURCE_PERMISSIONS)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA "${debian}/conffiles")
endif()

# Windows need the back end that belongs to the library, and nothing depends on it.
find_library(gui_library gnustep-gui REQUIRED)
file(REAL_PATH "${gui_library}" gui_file)
string(REGEX MATCH "so\\.([0-9]+\\.[0-9]+)" gui_version "${gui_file}")
set(gui_version "${CMAKE_MATCH_1}")

set(CPACK_GENERATOR DEB)
set(CPACK_SET_DESTDIR ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_NAME lum)
set(CPACK_PACKAGE_CONTACT "the lum authors <lum@kelvo.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "start online meetings from web pages")
set(CPACK_PACKAGE_DESCRIPTION
"A web page starts an online meeting: lumhost loads the extension, which
fetches what the meeting needs from the page's site, checks hash and signature
of every package, has it installed for the user, launches the application and
sends the page on.
.
lumsite publishes and checks such a site. The extension can also be embedded in
a container of one's own (find_package in CMake, and a header in C).")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION web)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/lumext.bundle/Frameworks")
# The base runtime's gdnc carries the notification by which an application reports itself; the theme names the font.
set(CPACK_DEBIAN_PACKAGE_DEPENDS
  "gnustep-back${gui_version}-cairo, gnustep-gui-runtime, gnustep-base-runtime, ca-certificates, fonts-dejavu-core")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "xdg-utils, chromium | firefox-esr | www-browser")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "fonts-noto-cjk")
include(CPack)
