# What `cmake --install` puts where, and the Debian packages.
#
# Component `runtime` holds the shared libraries, `development` what builds against them, `tools`
# the programs. Headers but audvik/audvik.h lie below include/audvik: names such as `sound` are
# taken in /usr/include.

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
  list(APPEND header_folders platform/desktop/include)
endif()

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

install(TARGETS ${targets} EXPORT audvik-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(EXPORT audvik-targets NAMESPACE audvik:: DESTINATION ${package} COMPONENT development)
foreach(folder IN LISTS header_folders)
  install(DIRECTORY ${folder}/ DESTINATION ${headers} COMPONENT development)
endforeach()

if(AUDVIK_DESKTOP)
  foreach(tool IN ITEMS audvik-capture sound-service soundctl)
    install(TARGETS ${tool} COMPONENT tools)
    audvik_compress(docs/man/${tool}.1 manual_page)
    install(FILES ${manual_page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  endforeach()
  install(FILES ${PROJECT_BINARY_DIR}/completion/soundctl
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(FILES ${PROJECT_BINARY_DIR}/completion/_soundctl
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT tools)
endif()

configure_package_config_file(cmake/audvik-config.cmake.in audvik-config.cmake
  INSTALL_DESTINATION ${package})
write_basic_package_version_file(audvik-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/audvik-config.cmake
  ${PROJECT_BINARY_DIR}/audvik-config-version.cmake
  DESTINATION ${package} COMPONENT development)

# Relative, since packages go elsewhere than `cmake --install`.
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/audvik.pc.in audvik.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/audvik.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

include(Packages)
