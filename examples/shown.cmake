# Fails when a page does not show a file word for word:  cmake -P shown.cmake FILE PAGE
file(READ ${CMAKE_ARGV3} example)
file(READ ${CMAKE_ARGV4} page)
string(FIND "${page}" "${example}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${CMAKE_ARGV4} does not show ${CMAKE_ARGV3} as it is")
endif()
