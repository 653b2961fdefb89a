# GoogleTest: the system's build natively, built from its sources for the
# cross targets (Windows, 32-bit) so that it matches their runtime.
if(CMAKE_CROSSCOMPILING)
  if(NOT TARGET gtest_main)
    set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
    set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
    set(gtest_disable_pthreads OFF CACHE BOOL "" FORCE)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  endif()
  set(KEST_GTEST_MAIN gtest_main)
else()
  find_package(GTest REQUIRED)
  set(KEST_GTEST_MAIN GTest::gtest_main)
endif()
