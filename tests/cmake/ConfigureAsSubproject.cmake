# Configures the project as a subdirectory of another one (subproject/CMakeLists.txt), which
# checks what the project adds there.
#
#   cmake -DSOURCE_DIR=<repository> -DWORK_DIR=<scratch folder> -DCXX_COMPILER=<c++>
#         -P <this file>

foreach(variable IN ITEMS SOURCE_DIR WORK_DIR CXX_COMPILER)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "${variable} is not set")
  endif()
endforeach()

file(REMOVE_RECURSE ${WORK_DIR})
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/subproject -B ${WORK_DIR} -G Ninja
    -DCMAKE_CXX_COMPILER=${CXX_COMPILER}
    -DTALLOWBECK_SOURCE_DIR=${SOURCE_DIR}
  RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "The project does not configure as a subproject")
endif()
