# Language, warnings and hardening that every target of the project shares.
include(GNUInstallDirs)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${PROJECT_SOURCE_DIR}/cmake/cached-compiler ${PROJECT_SOURCE_DIR})
endif()

# Linked by every target of our own; third-party headers come in as SYSTEM and stay out of the warnings.
add_library(lumivault_options INTERFACE)
target_compile_options(lumivault_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wformat=2 -Werror=format-security
  -fstack-protector-strong -fstack-clash-protection)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees an overlap in every inlined insertion into a std::string (its bug 105651), and where it has read that from a
  # precompiled header, texts beyond their ends.
  target_compile_options(lumivault_options INTERFACE -Wno-restrict)
  if(NOT CMAKE_DISABLE_PRECOMPILE_HEADERS AND NOT CMAKE_CROSSCOMPILING)
    target_compile_options(lumivault_options INTERFACE -Wno-array-bounds -Wno-stringop-overflow)
  endif()
endif()
target_compile_definitions(lumivault_options INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64 _GNU_SOURCE)
if(LUMIVAULT_WERROR)
  target_compile_options(lumivault_options INTERFACE -Werror)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Release" OR CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
  target_compile_options(lumivault_options INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
endif()
if(LUMIVAULT_TYPE_INFO)
  # In the libraries alone: programs are linked without (tests/CMakeLists.txt).
  set(LUMIVAULT_TYPE_OPTIONS -g)
endif()
target_link_options(lumivault_options INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)

# Reading the standard library and Exiv2 is half of the work on a source, so a library's sources share that. Every file still
# includes what it uses: the release preset and scripts/lint do without. So does the cross build, whose compiler would take what
# it reads there for our own text and warn of it.
function(lumivault_precompile target)
  if(NOT CMAKE_CROSSCOMPILING)
    target_precompile_headers(${target} PRIVATE <algorithm> <functional> <map> <memory> <optional> <string> <vector> ${ARGN})
  endif()
endfunction()

# A core is an archive, so that tests link what they need of it and reach its internals. For scripts/mutate it is a library that
# shows its internals.
if(LUMIVAULT_SHARED_CORES)
  set(LUMIVAULT_CORE_TYPE SHARED)
else()
  set(LUMIVAULT_CORE_TYPE STATIC)
endif()
function(lumivault_core target)
  if(LUMIVAULT_SHARED_CORES)
    set_target_properties(${target} PROPERTIES CXX_VISIBILITY_PRESET default VISIBILITY_INLINES_HIDDEN OFF)
  endif()
  lumivault_precompile(${target} ${ARGN})
endfunction()
