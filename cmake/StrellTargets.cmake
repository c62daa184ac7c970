# How the two kinds of target are built.
#
#   strell_embedded(target)  what lives in the daemon's process: C++17 without exceptions, RTTI and the C++ run-time
#                            library, small, every symbol hidden unless it is exported on purpose
#   strell_hosted(target)    servers, tools, tests: C++20 with the standard library

option(STRELL_TESTS "Build the tests" ON)
option(STRELL_EXAMPLES "Build the examples" ON)
option(STRELL_BENCH "Build the benchmarks" OFF)
option(STRELL_FUZZ "Build fuzzers with clang's libFuzzer" OFF)
set(STRELL_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them")

set(STRELL_WARNINGS -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wundef -Wvla
                    -Wcast-align -Wpointer-arith -Wredundant-decls -Werror)

if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  list(APPEND STRELL_WARNINGS -Wno-unknown-warning-option -Wno-format-nonliteral)
endif()

if(STRELL_SANITIZE)
  add_compile_options(-fsanitize=${STRELL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${STRELL_SANITIZE})
  # GCC 12 finds uninitialised values inside <regex> and <functional> when it instruments them.
  list(APPEND STRELL_WARNINGS -Wno-maybe-uninitialized)
  # The thread sanitizer does not follow fences. Those here order what two processes do, which it does not see anyhow.
  list(APPEND STRELL_WARNINGS -Wno-tsan)
endif()

function(strell_common target)
  target_compile_options(${target} PRIVATE ${STRELL_WARNINGS})
  target_include_directories(${target} PRIVATE ${CMAKE_SOURCE_DIR}/include)
endfunction()

function(strell_embedded target)
  strell_common(${target})
  set_target_properties(${target} PROPERTIES CXX_STANDARD 17 CXX_EXTENSIONS OFF LINKER_LANGUAGE C
                                             CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE -fno-exceptions -fno-rtti -fno-threadsafe-statics -Wold-style-cast)
  target_compile_definitions(${target} PRIVATE _GNU_SOURCE)
  get_target_property(type ${target} TYPE)
  if(NOT type STREQUAL "OBJECT_LIBRARY" AND NOT type STREQUAL "STATIC_LIBRARY")
    target_link_options(${target} PRIVATE -static-libgcc -Wl,--as-needed -Wl,-z,relro,-z,now)
    if(NOT STRELL_SANITIZE)
      target_link_options(${target} PRIVATE -Wl,--no-undefined)
    endif()
  endif()
endfunction()

function(strell_hosted target)
  strell_common(${target})
  set_target_properties(${target} PROPERTIES CXX_STANDARD 20 CXX_EXTENSIONS OFF)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "EXECUTABLE")
    target_link_libraries(${target} PRIVATE ${STRELL_CXX_RUNTIME})
  endif()
endfunction()

# Binaries find the libraries of their own build, after what LD_LIBRARY_PATH names: so a test can put a library
# of its own before one of these.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib")
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
add_link_options(-Wl,--enable-new-dtags)

# A platform library: its name is part of the porting contract, so no version but where the name has one.
#   strell_platform_library(name [SOVERSION n] SOURCES ...)
function(strell_platform_library name)
  cmake_parse_arguments(arg "" "SOVERSION" "SOURCES" ${ARGN})
  add_library(${name} SHARED ${arg_SOURCES})
  strell_embedded(${name})
  target_include_directories(${name} INTERFACE ${CMAKE_SOURCE_DIR}/include)
  if(DEFINED arg_SOVERSION)
    set_target_properties(${name} PROPERTIES SOVERSION ${arg_SOVERSION})
  endif()
  target_link_libraries(${name} PRIVATE Threads::Threads)
endfunction()
