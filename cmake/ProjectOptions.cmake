# What holds for every target.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

# A changed library is met when a program starts: it need not be linked again for that.
set(CMAKE_LINK_DEPENDS_NO_SHARED ON)

set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -fstack-protector-strong)
# Programs too: with position-independent code a table keeps its one address, in the library that
# defines it, instead of being copied into the program.
add_compile_options(-fPIC)

# Full RELRO for programs and the desktop's libraries, too, and a stack that no large array can jump
# over, where the compiler knows how.
add_link_options(-Wl,-z,relro,-z,now)
include(CheckCXXCompilerFlag)
check_cxx_compiler_flag(-fstack-clash-protection AUDVIK_STACK_CLASH)
if(AUDVIK_STACK_CLASH)
  add_compile_options(-fstack-clash-protection)
  # What libaudvik.so is made of jumps over nothing: no stack frame there is as large as a page.
  set(AUDVIK_SMALL_FRAMES -fno-stack-clash-protection -Wframe-larger-than=4096)
endif()
# Of the C library's checks the library itself has none: what it asks of the C library is fixed.
set(AUDVIK_FORTIFY -D_FORTIFY_SOURCE=3)

# The log names source files by their base names: no path of the machine that built it is needed.
add_compile_options(-fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)

# For code that waits for others, and whose size costs more than its time.
set(AUDVIK_SMALL $<$<NOT:$<CONFIG:Debug>>:-Os>)

option(AUDVIK_WERROR "Treat warnings as errors" OFF)
if(AUDVIK_WERROR)
  add_compile_options(-Werror)
endif()

set(AUDVIK_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")
if(AUDVIK_SANITIZE)
  add_compile_options(-fsanitize=${AUDVIK_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${AUDVIK_SANITIZE})
  set(AUDVIK_FORTIFY "")
  set(AUDVIK_SMALL_FRAMES "")
endif()

# Where Debian keeps libraries of different machines apart, so are these.
if(CMAKE_LIBRARY_ARCHITECTURE)
  set(CMAKE_INSTALL_LIBDIR lib/${CMAKE_LIBRARY_ARCHITECTURE} CACHE PATH "Folder for libraries")
endif()
