# The tests of the container's engine, and the misbehaving web server, which other tests use, too (link lum_fault_server).
pkg_check_modules(OPENSSL REQUIRED IMPORTED_TARGET openssl)

set(fault_server_sources "${PROJECT_SOURCE_DIR}/tests/support/FaultServer.cpp"
                         "${PROJECT_SOURCE_DIR}/tests/support/FaultServerTls.cpp")
add_library(lum_fault_server STATIC ${fault_server_sources})
target_include_directories(lum_fault_server PUBLIC "${PROJECT_SOURCE_DIR}")
target_link_libraries(lum_fault_server PUBLIC PkgConfig::OPENSSL GTest::gtest Threads::Threads)

set(engine_test_sources "${CMAKE_CURRENT_LIST_DIR}/transfers_test.cpp" "${CMAKE_CURRENT_LIST_DIR}/unpacker_test.cpp")
lum_test(engine_test SOURCES ${engine_test_sources} LIBRARIES lumhost_engine lum_fault_server)

# The same tests once more, everything in them built with the thread checker (which does not go with the others).
if(NOT LUM_SANITIZE AND NOT LUM_FUZZ)
  get_property(engine_sources TARGET lumhost_engine PROPERTY LUMHOST_ENGINE_SOURCES)
  add_executable(engine_threads_test ${engine_test_sources} ${engine_sources} ${fault_server_sources}
                 "${PROJECT_SOURCE_DIR}/tests/support/TempDir.cpp")
  target_include_directories(engine_threads_test PRIVATE "${PROJECT_SOURCE_DIR}")
  target_compile_options(engine_threads_test PRIVATE -fsanitize=thread)
  target_link_options(engine_threads_test PRIVATE -fsanitize=thread)
  target_link_libraries(engine_threads_test PRIVATE PkgConfig::CURL PkgConfig::IDN PkgConfig::ARCHIVE PkgConfig::OPENSSL
                        GTest::gmock GTest::gtest_main Threads::Threads)
  gtest_discover_tests(engine_threads_test TEST_PREFIX "threads." DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 300)
endif()
