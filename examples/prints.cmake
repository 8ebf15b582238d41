# Runs the program of an example and compares what it prints with the last line of its source, `prints: ...`:
#   cmake -P prints.cmake SOURCE COMMAND [ARGUMENT...]
set(source ${CMAKE_ARGV3})
set(command)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(k RANGE 4 ${last})
  list(APPEND command ${CMAKE_ARGV${k}})
endforeach()

file(READ ${source} text)
if(NOT text MATCHES "\n(//|#) prints: ([^\n]*)\n$")
  message(FATAL_ERROR "the last line of ${source} does not tell what it prints")
endif()
set(expected "${CMAKE_MATCH_2}\n")
execute_process(COMMAND ${command} OUTPUT_VARIABLE printed RESULT_VARIABLE result)
if(NOT result EQUAL 0 OR NOT printed STREQUAL expected)
  message(FATAL_ERROR "${source} ended with ${result} and printed\n${printed}instead of\n${expected}")
endif()
