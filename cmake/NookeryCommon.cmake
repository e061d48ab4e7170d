# Switches shared by every target: the language level, warnings, sanitizers and ccache.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  # Relative paths let clones in different folders share what they compiled.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1
      ${CCACHE_PROGRAM})
endif()

add_library(nookery_options INTERFACE)
target_compile_options(nookery_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual
  -Wcast-align -Wunused -Wimplicit-fallthrough
  $<$<BOOL:${NOOKERY_WERROR}>:-Werror>)
if(NOOKERY_WERROR OR NOOKERY_SANITIZE)
  # Everyday and sanitizer builds hold the state of a thread to that thread.
  target_compile_definitions(nookery_options INTERFACE NOOKERY_CHECK_THREADS)
endif()
if(NOOKERY_SANITIZE)
  target_compile_options(nookery_options INTERFACE
    -fsanitize=${NOOKERY_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(nookery_options INTERFACE -fsanitize=${NOOKERY_SANITIZE})
endif()

if(NOOKERY_FUZZ)
  # The core tells the fuzzer which of its branches an input reached.
  target_compile_options(nookery_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Every source file of a folder belongs to its target; a new file needs no list.
function(nookery_sources target folder)
  file(GLOB sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp"
       "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.h")
  target_sources(${target} PRIVATE ${sources})
endfunction()

# The same for a folder with all below it.
function(nookery_room target folder)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp"
       "${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.h")
  target_sources(${target} PRIVATE ${sources})
endfunction()
