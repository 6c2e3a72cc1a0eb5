# The libraries that the project builds on, for this machine or for another one.
#
# Debian has no packages of them for the machines that are only emulated here. Header-only ones
# are the same for every machine, but /usr/include holds much else that is not: a cross compiler
# gets a folder with links to theirs alone. GoogleTest is built from its packaged sources.

find_package(Threads REQUIRED)

if(NOT CMAKE_CROSSCOMPILING)
  find_package(Boost 1.81 REQUIRED)
  if(AUDVIK_DESKTOP OR AUDVIK_PLATFORM_LIBRARIES)
    find_package(CLI11 REQUIRED)
    find_package(nlohmann_json REQUIRED)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(sndfile REQUIRED IMPORTED_TARGET sndfile)
    pkg_check_modules(ebur128 IMPORTED_TARGET libebur128)
    if(AUDVIK_DESKTOP)
      pkg_check_modules(gstreamer IMPORTED_TARGET gstreamer-base-1.0>=1.18 gstreamer-audio-1.0>=1.18)
    endif()
    pkg_check_modules(mosquitto IMPORTED_TARGET libmosquitto)
    if(NOT mosquitto_FOUND)
      message(STATUS "audvik-bridge is left out: script/bootstrap fleet installs libmosquitto-dev")
    endif()
    if(AUDVIK_DESKTOP AND BUILD_TESTING)
      find_package(GTest REQUIRED)
    endif()
  endif()
  return()
endif()

function(audvik_use_header_library target folder)
  if(NOT IS_DIRECTORY /usr/include/${folder})
    message(FATAL_ERROR "/usr/include/${folder} is missing; script/bootstrap installs it")
  endif()
  set(links ${PROJECT_BINARY_DIR}/header-libraries)
  file(MAKE_DIRECTORY ${links})
  file(CREATE_LINK /usr/include/${folder} ${links}/${folder} SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED)
  target_include_directories(${target} INTERFACE ${links})
endfunction()

audvik_use_header_library(Boost::headers boost)
if(AUDVIK_DESKTOP OR AUDVIK_PLATFORM_LIBRARIES)
  audvik_use_header_library(CLI11::CLI11 CLI)
  audvik_use_header_library(nlohmann_json::nlohmann_json nlohmann)
endif()

if(AUDVIK_DESKTOP AND BUILD_TESTING)
  set(INSTALL_GTEST OFF)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  foreach(target IN ITEMS gtest gtest_main gmock gmock_main)
    target_compile_options(${target} PRIVATE -w)
  endforeach()
endif()
