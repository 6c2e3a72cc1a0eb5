# Debian packages, one per component of the installation. script/package makes and checks them.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME audvik)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "audvik developers <developers@audvik.example>")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
# Staged by DESTDIR, so that files that say where they lie name the place where they will.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL runtime development tools)
if(TARGET gstaudvik)
  list(APPEND CPACK_COMPONENTS_ALL gstreamer)
endif()
if(TARGET audvik-bridge)
  list(APPEND CPACK_COMPONENTS_ALL bridge)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
if(CMAKE_CROSSCOMPILING)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${AUDVIK_DEBIAN_ARCHITECTURE})
endif()
# What a package needs: from the libraries that its files name. dpkg-shlibdeps looks for those of
# another machine where its cross compiler has them, but knows only this machine's packages, so the
# few that the library and the tools need are named there.
if(CMAKE_CROSSCOMPILING)
  set(needs "libc6 (>= 2.34), libgcc-s1, libstdc++6 (>= 12)")
  set(comma ", ")
else()
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
endif()
set(same_version "(= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libaudvik)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_LIST_DIR}/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${needs}")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "what a TV is playing, and control of its sound service
The audio data agent and the sound service's proxy, for a host process, and
the desktop platform to run them on a PC.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libaudvik-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "libaudvik ${same_version}, libboost1.81-dev, libstdc++-12-dev | libstdc++-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "headers and build files for audvik
What is needed to build programs that use libaudvik.so, in C or C++: headers,
pkg-config and CMake files, manual pages and examples. Documents describe the
wire format to the byte and how to put the library on a television.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME audvik-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "libaudvik ${same_version}${comma}${needs}")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "programs for a TV's sound interface
A sound service to develop against, a recorder of what is playing, and a
command-line client for every command and notification.")

set(CPACK_DEBIAN_GSTREAMER_PACKAGE_NAME gstreamer1.0-audvik)
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_DEPENDS "libaudvik ${same_version}")
set(CPACK_COMPONENT_GSTREAMER_DESCRIPTION "GStreamer plugin for what a TV is playing
The live source audviksrc brings a TV's sound into any GStreamer pipeline.")

set(CPACK_DEBIAN_BRIDGE_PACKAGE_NAME audvik-bridge)
set(CPACK_DEBIAN_BRIDGE_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_BRIDGE_PACKAGE_DEPENDS "libaudvik ${same_version}${comma}${needs}")
set(CPACK_DEBIAN_BRIDGE_PACKAGE_SUGGESTS "mosquitto, audvik-tools, audvik-fleet-page")
set(CPACK_COMPONENT_BRIDGE_DESCRIPTION "connects a TV's sound service with an MQTT broker
Tells a broker the state of a set's sound, its level and, to whoever asks for
it, the sound itself, and takes commands from there: for a rack of sets, or for
Home Assistant.")

if(TARGET fleet-page)
  list(APPEND CPACK_COMPONENTS_ALL page)
  set(CPACK_DEBIAN_PAGE_PACKAGE_NAME audvik-fleet-page)
  set(CPACK_DEBIAN_PAGE_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_PAGE_PACKAGE_SECTION web)
  set(CPACK_DEBIAN_PAGE_PACKAGE_SUGGESTS "mosquitto, audvik-bridge")
  set(CPACK_COMPONENT_PAGE_DESCRIPTION "page that shows and commands a rack of TVs on a broker
Static files that a broker itself, as mosquitto does, serves to browsers: what
each set says, its level and its sound, and a form for every command.")
endif()

if(TARGET python-audvik)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-audvik)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
    "libaudvik ${same_version}, python3-numpy, ${AUDVIK_PYTHON_VERSION}")
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION "what a TV is playing, and its sound service, from Python
Sound as numpy arrays, a method for each command and a class for each record
and notification of a TV's sound interface, with type stubs and examples.")
endif()

# Each package says under what terms it may be used, and what is new.
file(STRINGS cmake/debian/changelog newest LIMIT_COUNT 1)
if(NOT newest MATCHES "^audvik \\(${PROJECT_VERSION}\\)")
  message(FATAL_ERROR "cmake/debian/changelog begins with \"${newest}\", and not with an entry for "
    "version ${PROJECT_VERSION}; add one")
endif()
audvik_compress(cmake/debian/changelog changelog)
foreach(name IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${name} upper)
  install(FILES cmake/debian/copyright ${changelog} COMPONENT ${name}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
endforeach()
install(FILES cmake/debian/libaudvik.lintian-overrides COMPONENT runtime
  DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME libaudvik)

include(CPack)
