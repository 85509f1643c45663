# How every target of this project is compiled, and the helpers that make them.

add_library(soap_flags INTERFACE)
target_compile_options(soap_flags INTERFACE -Wall -Wextra -Wshadow -Wconversion)
target_link_libraries(soap_flags INTERFACE Threads::Threads)
if(SOAP_SANITIZE)
  target_compile_options(soap_flags INTERFACE -fsanitize=${SOAP_SANITIZE} -fno-omit-frame-pointer
                         -fno-sanitize-recover=all)
  # This one check asks the system by way of a pipe, and errs where a test leaves no descriptor for it.
  if(SOAP_SANITIZE MATCHES "undefined")
    target_compile_options(soap_flags INTERFACE -fno-sanitize=vptr)
  endif()
  target_link_options(soap_flags INTERFACE -fsanitize=${SOAP_SANITIZE})
endif()

# soap_library(NAME INCLUDE dir... [DEPENDS library...] [HIDDEN]): every source of this folder, once as the
# object library NAME_objects, from which the shared libraries are put together, and once as the static
# library NAME, which tests link. HIDDEN keeps its symbols out of the shared library's exports.
function(soap_library name)
  cmake_parse_arguments(arg "HIDDEN" "" "INCLUDE;DEPENDS" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_library(${name}_objects OBJECT ${sources})
  add_library(${name} STATIC $<TARGET_OBJECTS:${name}_objects>)
  set_target_properties(${name} PROPERTIES LINKER_LANGUAGE CXX)
  target_include_directories(${name} PUBLIC ${arg_INCLUDE})
  target_link_libraries(${name} PUBLIC soap_flags ${arg_DEPENDS})
  # The objects see what the static library sees, without linking it: libraries may need each other.
  target_include_directories(${name}_objects PRIVATE $<TARGET_PROPERTY:${name},INTERFACE_INCLUDE_DIRECTORIES>)
  target_link_libraries(${name}_objects PRIVATE soap_flags)
  if(arg_HIDDEN)
    set_target_properties(${name}_objects PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  endif()
endfunction()

# soap_test(NAME library...): every source of this folder as one GoogleTest program; each case is a ctest.
function(soap_test name)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  add_executable(${name} ${sources})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  target_link_libraries(${name} PRIVATE ${ARGN} soap_flags GTest::gtest GTest::gtest_main)
  # A row of a table is called by its name, not by the bytes of its parameter, which differ from run to run.
  gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST NO_PRETTY_VALUES PROPERTIES TIMEOUT 120)
endfunction()
