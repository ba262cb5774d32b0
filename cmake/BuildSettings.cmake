# What every target of the tree shares: language, warnings, sanitizers, output folders.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Build type" FORCE)
endif()

find_program(SD_CCACHE ccache)
if(SD_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER "${SD_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${SD_CCACHE}")
endif()

add_library(sd_settings INTERFACE)
target_include_directories(sd_settings INTERFACE "${PROJECT_SOURCE_DIR}/src")
target_compile_options(sd_settings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
if(SD_WERROR)
  target_compile_options(sd_settings INTERFACE -Werror)
endif()

# GCC marks the statics of inline functions and templates as unique symbols of the process, and a library that defines
# one can never be unloaded. The plug-in must leave the process whole, so nothing here is built with them.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(sd_settings INTERFACE -fno-gnu-unique)
  # GCC 12 warns of overlapping copies wherever a literal is put before a string.
  if(CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    target_compile_options(sd_settings INTERFACE -Wno-restrict)
  endif()
endif()

# What is shipped is hardened as Debian hardens its packages; sanitizers and debuggers want their code as it is.
if(NOT SD_SANITIZE AND NOT SD_FUZZ AND CMAKE_BUILD_TYPE MATCHES "^(Release|RelWithDebInfo|MinSizeRel)$")
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES C CXX)
  add_compile_options(-fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|amd64|AMD64|i[3-6]86)$")
    add_compile_options(-fcf-protection)
  endif()
  add_link_options("LINKER:-z,relro,-z,now")
endif()

if(SD_SANITIZE)
  add_compile_options(-fsanitize=${SD_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${SD_SANITIZE})
endif()
if(SD_SANITIZE STREQUAL "thread")
  # The sanitizer does not know fences. Asio puts them beside the locks of its scheduler, which order the same things.
  add_compile_definitions(BOOST_ASIO_DISABLE_FENCED_BLOCK)
endif()
if(SD_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
