# The engine of the container: transfers and packages. Plain C++, so that it can also be built with the thread checker.
set(lumhost_engine_sources
  Transfers.cpp
  Unpacker.cpp
  Url.cpp
  transfer_download.cpp
  transfer_exchange.cpp
  transfer_failure.cpp
  transfer_file.cpp
  transfer_reply.cpp
  transfer_thread.cpp
  unpack_archive.cpp
  unpack_failure.cpp
  unpack_path.cpp
  unpack_place.cpp
  unpack_probe.cpp
  unpack_staging.cpp
  unpack_tree.cpp)
list(TRANSFORM lumhost_engine_sources PREPEND "${CMAKE_CURRENT_LIST_DIR}/")

add_library(lumhost_engine STATIC ${lumhost_engine_sources})
target_include_directories(lumhost_engine PUBLIC "${PROJECT_SOURCE_DIR}")
target_link_libraries(lumhost_engine PUBLIC PkgConfig::CURL PkgConfig::IDN PkgConfig::ARCHIVE Threads::Threads)
set_property(TARGET lumhost_engine PROPERTY LUMHOST_ENGINE_SOURCES "${lumhost_engine_sources}")
