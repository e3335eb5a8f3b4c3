# Helpers that declare tests. GoogleTest is built from Debian's source package,
# so that it carries the same architecture and sanitizer as the code under test.
set(INSTALL_GTEST OFF)
add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest
                 EXCLUDE_FROM_ALL SYSTEM)
foreach(lib gtest gtest_main)
  if(CONFIGAPI_SANITIZE)
    target_compile_options(${lib} PRIVATE -fsanitize=${CONFIGAPI_SANITIZE})
    target_link_options(${lib} INTERFACE -fsanitize=${CONFIGAPI_SANITIZE})
  endif()
  set_target_properties(${lib} PROPERTIES
    ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
endforeach()

# configapi_test(NAME SOURCES... [LABEL label]) builds a test against the
# shared library, as a host is built; it sees the public headers only.
function(configapi_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL" "")
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE
    configapi::configapi configapi_options test_support gtest gtest_main)
  configapi_add_test(${name} "${arg_LABEL}")
endfunction()

# configapi_whitebox_test(NAME SOURCES... [LABEL label]) links the library's
# objects instead, so that allocations can be failed one by one
# (support/alloc_fault.h). A fake that the test defines itself stands in for
# the LDAP library, whose names come last.
function(configapi_whitebox_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL" "")
  add_executable(${name} ${arg_UNPARSED_ARGUMENTS})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PRIVATE
    configapi_objects configapi_options test_support test_alloc_fault
    ldap lber configapi_logapi configapi_qxmsconf gtest gtest_main)
  configapi_add_test(${name} "${arg_LABEL}")
endfunction()

# configapi_directory_test(NAME SOURCES...) is a configapi_test with a private
# directory server to talk to (support/directory.h). Such tests take turns:
# each finds the server empty and has it to itself.
set(CONFIGAPI_DIRECTORY_STATE ${PROJECT_BINARY_DIR}/directory)
function(configapi_directory_test name)
  configapi_test(${name} ${ARGN} LABEL directory)
  target_link_libraries(${name} PRIVATE test_directory)
  configapi_use_directory(${name})
endfunction()

# configapi_use_directory(TEST) does the same for a test of any other kind.
function(configapi_use_directory name)
  set_tests_properties(${name} PROPERTIES
    FIXTURES_REQUIRED directory RESOURCE_LOCK directory LABELS directory
    SKIP_REGULAR_EXPRESSION "skipped: slapd is not installed"
    ENVIRONMENT
    "CONFIGAPI_TEST_DIRECTORY=${CONFIGAPI_DIRECTORY_STATE}/env;LDAPNOINIT=1")
endfunction()

# configapi_transcript(NAME TRANSCRIPT FOLDER_OF_COMMANDS) tests that commands
# still say what stands there (tests/support/transcript_test.sh).
function(configapi_transcript name transcript commands)
  add_test(NAME ${name}
    COMMAND ${PROJECT_SOURCE_DIR}/tests/support/transcript_test.sh
            ${CMAKE_CURRENT_SOURCE_DIR}/${transcript} ${commands} ${ARGN})
  set_tests_properties(${name} PROPERTIES TIMEOUT 300)
endfunction()

# configapi_directory_transcript(...) does so with the private server.
function(configapi_directory_transcript name)
  configapi_transcript(${name} ${ARGN} $<TARGET_FILE:empty_directory>)
  configapi_use_directory(${name})
endfunction()

function(configapi_add_test name label)
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
  add_test(NAME ${name} COMMAND ${name})
  set_tests_properties(${name} PROPERTIES LABELS "${label}" TIMEOUT 300)
endfunction()
