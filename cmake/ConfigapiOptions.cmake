# What every target of the project is compiled with, carried by the interface
# target configapi_options.
option(CONFIGAPI_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
option(CONFIGAPI_FUZZ "Build the fuzz targets for libFuzzer" OFF)
option(CONFIGAPI_TESTS "Build the tests" ON)
option(CONFIGAPI_BENCH "Build the benchmarks" ON)
set(CONFIGAPI_SANITIZE "" CACHE STRING "Value for -fsanitize=, or empty")

add_library(configapi_options INTERFACE)
target_compile_features(configapi_options INTERFACE cxx_std_20 c_std_99)
target_compile_options(configapi_options INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Wcast-qual -Wformat=2
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  # GCC 12 sees an overlap in every optimised "text" + std::string, or one
  # too long (its bug 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-stringop-overflow>
  $<$<BOOL:${CONFIGAPI_WARNINGS_AS_ERRORS}>:-Werror>)

# The library reads what strangers wrote: a fault that is left is to end the
# process, not to serve them. _FORTIFY_SOURCE needs an optimiser.
if(NOT CONFIGAPI_SANITIZE)
  target_compile_options(configapi_options INTERFACE
    -fstack-protector-strong -fstack-clash-protection
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|i[3-6]86")
    target_compile_options(configapi_options INTERFACE -fcf-protection)
  endif()
  target_link_options(configapi_options INTERFACE
    LINKER:-z,relro,-z,now,-z,noexecstack)
endif()

if(CONFIGAPI_SANITIZE)
  target_compile_options(configapi_options INTERFACE
    -fsanitize=${CONFIGAPI_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  target_link_options(configapi_options INTERFACE
    -fsanitize=${CONFIGAPI_SANITIZE})
endif()
if(CONFIGAPI_FUZZ)
  target_compile_options(configapi_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
