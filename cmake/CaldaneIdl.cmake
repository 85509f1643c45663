# caldane_idl(TARGET FILE... [INCLUDE dir...] [DEFINE name[=value]...]): compiles IDL files and adds the result
# to a target: sources, and the folder of the headers to its include path. What an IDL file includes is watched.
#
# The compiler is CALDANE_IDL, where that is set, else the program caldane-idl.

if(NOT CALDANE_IDL)
  find_program(CALDANE_IDL caldane-idl REQUIRED)
endif()

function(caldane_idl target)
  cmake_parse_arguments(arg "" "" "INCLUDE;DEFINE" ${ARGN})
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/${target}_idl)
  set(options)
  foreach(dir IN LISTS arg_INCLUDE)
    get_filename_component(dir ${dir} ABSOLUTE)
    list(APPEND options -I ${dir})
  endforeach()
  foreach(define IN LISTS arg_DEFINE)
    list(APPEND options -D ${define})
  endforeach()
  set(made)
  foreach(file IN LISTS arg_UNPARSED_ARGUMENTS)
    get_filename_component(source ${file} ABSOLUTE)
    get_filename_component(name ${file} NAME_WLE)
    set(outputs ${folder}/${name}.h ${folder}/${name}.cpp)
    add_custom_command(
      OUTPUT ${outputs}
      COMMAND ${CALDANE_IDL} -o ${folder} --depend ${folder}/${name}.d ${options} ${source}
      DEPENDS ${source} ${CALDANE_IDL} ${CALDANE_IDL_PARTS}
      DEPFILE ${folder}/${name}.d
      COMMENT "Compiling ${name}.idl"
      VERBATIM)
    list(APPEND made ${outputs})
  endforeach()
  target_sources(${target} PRIVATE ${made})
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${folder}>)
endfunction()
