# What `cmake --install` puts where, and the Debian packages.  Component `runtime` holds the
# shared libraries, `development` what builds against them and its documentation, `tools` the
# programs, `python` the Python package, `gstreamer` the plugin, `bridge` the program for a
# broker, `page` what that serves to browsers. Headers but audvik/audvik.h lie below
# include/audvik: names such as `sound` are taken in /usr/include.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(headers ${CMAKE_INSTALL_INCLUDEDIR}/audvik)
set(package ${CMAKE_INSTALL_LIBDIR}/cmake/audvik)

target_include_directories(framework-headers INTERFACE $<INSTALL_INTERFACE:${headers}>)
target_include_directories(audvik INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)

set(targets audvik sound-records framework-headers sound-records-headers client-interface-headers
  sound-proxy-headers)
set(header_folders audvikACR/include/audvik app-sound-proxy/include sound-records/include
  platform/framework/include platform/client-interface/include)
if(AUDVIK_DESKTOP)
  list(APPEND targets frame-desktop sound-client-desktop platform-desktop)
  set(programs audvik-capture sound-service soundctl)
  list(APPEND header_folders platform/desktop/include)
elseif(AUDVIK_PLATFORM_LIBRARIES)
  set(programs audvik-capture soundctl)
endif()

# Builds what is installed, and no tests.
add_custom_target(installed)
add_dependencies(installed audvik sound-records ${programs})
if(TARGET audvik-bridge)
  add_dependencies(installed audvik-bridge)
endif()
if(TARGET fleet-page)
  add_dependencies(installed fleet-page)
endif()
if(AUDVIK_DESKTOP)
  add_dependencies(installed soundctl-output dissector)
endif()
if(TARGET gstaudvik)
  add_dependencies(installed gstaudvik)
endif()
if(TARGET python-stubs)
  add_dependencies(installed python-stubs)
endif()
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)

# Compresses a file as Debian wants documents, into the path that @p result is set to.
function(audvik_compress file result)
  find_program(GZIP gzip REQUIRED)
  cmake_path(GET file FILENAME name)
  set(compressed ${PROJECT_BINARY_DIR}/compressed/${name}.gz)
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/compressed)
  execute_process(COMMAND ${GZIP} -9 --no-name --stdout ${PROJECT_SOURCE_DIR}/${file}
    OUTPUT_FILE ${compressed} COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
  set(${result} ${compressed} PARENT_SCOPE)
endfunction()

# Installs manual pages docs/man/<name>.<section>.
function(audvik_install_manual component)
  foreach(page IN LISTS ARGN)
    audvik_compress(docs/man/${page} compressed)
    cmake_path(GET page EXTENSION LAST_ONLY section)
    string(REPLACE . man folder ${section})
    install(FILES ${compressed} DESTINATION ${CMAKE_INSTALL_MANDIR}/${folder}
      COMPONENT ${component})
  endforeach()
endfunction()

install(TARGETS ${targets} EXPORT audvik-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(EXPORT audvik-targets NAMESPACE audvik:: DESTINATION ${package} COMPONENT development)
foreach(folder IN LISTS header_folders)
  install(DIRECTORY ${folder}/ DESTINATION ${headers} COMPONENT development)
endforeach()

# `--strip` leaves the debug information of static libraries in.
install(CODE "if(CMAKE_INSTALL_DO_STRIP)
  execute_process(COMMAND ${CMAKE_STRIP} --strip-debug --remove-section=.comment
    \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libsound-records.a
    COMMAND_ERROR_IS_FATAL ANY)
endif()" COMPONENT development)

audvik_install_manual(runtime audvik.7)
audvik_install_manual(development audvik.3 audioCB_init.3 set_audioCallback.3)

set(documents ${CMAKE_INSTALL_DATADIR}/doc/libaudvik-dev)
foreach(document IN ITEMS architecture wire-format porting security footprint)
  audvik_compress(docs/${document}.md compressed)
  install(FILES ${compressed} DESTINATION ${documents} COMPONENT development)
endforeach()
install(FILES docs/pictures/architecture.svg DESTINATION ${documents}/pictures
  COMPONENT development)
install(DIRECTORY examples DESTINATION ${documents} COMPONENT development)

if(programs)
  install(TARGETS ${programs} COMPONENT tools)
  list(TRANSFORM programs APPEND .1 OUTPUT_VARIABLE manual_pages)
  audvik_install_manual(tools ${manual_pages} audvik-json.5)
endif()
if(AUDVIK_DESKTOP)
  install(FILES ${PROJECT_BINARY_DIR}/completion/soundctl
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(FILES ${PROJECT_BINARY_DIR}/interface.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/audvik COMPONENT tools)
  install(FILES ${PROJECT_BINARY_DIR}/audvik.lua
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/wireshark/plugins COMPONENT tools)
  install(FILES ${PROJECT_BINARY_DIR}/completion/_soundctl
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tools)
endif()

if(TARGET gstaudvik)
  install(TARGETS gstaudvik LIBRARY COMPONENT gstreamer
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/gstreamer-1.0)
  audvik_compress(docs/gstreamer.md compressed)
  install(FILES ${compressed} COMPONENT gstreamer
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/gstreamer1.0-audvik)
endif()

# They are installed, and enabled by whoever wants them.
set(units lib/systemd/system)
if(AUDVIK_DESKTOP)
  install(FILES cmake/systemd/sound-service.service DESTINATION ${units} COMPONENT tools)
endif()
if(TARGET audvik-bridge)
  install(TARGETS audvik-bridge COMPONENT bridge)
  audvik_install_manual(bridge audvik-bridge.1)
  audvik_compress(docs/fleet.md compressed)
  install(FILES ${compressed} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/audvik-bridge
    COMPONENT bridge)
  install(FILES cmake/systemd/audvik-bridge.service DESTINATION ${units} COMPONENT bridge)
endif()
if(TARGET fleet-page)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/fleet/page/
    DESTINATION ${CMAKE_INSTALL_DATADIR}/audvik/fleet-page COMPONENT page)
endif()
if(TARGET python-audvik)
  audvik_compress(docs/python.md compressed)
  install(FILES ${compressed} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-audvik
    COMPONENT python)
  install(DIRECTORY python/examples DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/python3-audvik
    COMPONENT python FILES_MATCHING PATTERN *.py)
endif()

configure_package_config_file(cmake/audvik-config.cmake.in audvik-config.cmake
  INSTALL_DESTINATION ${package})
write_basic_package_version_file(audvik-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/audvik-config.cmake
  ${PROJECT_BINARY_DIR}/audvik-config-version.cmake
  DESTINATION ${package} COMPONENT development)

# Written when it is installed, since only then is the prefix known.
install(CODE "set(libdir ${CMAKE_INSTALL_LIBDIR})
set(includedir ${CMAKE_INSTALL_INCLUDEDIR})
set(version ${PROJECT_VERSION})
configure_file(${PROJECT_SOURCE_DIR}/cmake/audvik.pc.in ${PROJECT_BINARY_DIR}/audvik.pc @ONLY)"
  COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/audvik.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

include(Packages)
