# The pointing-run simulator: a library (used by the tests too) and the
# program zenfit_simulate that writes observation files from a description.
add_library(zenfit_simulator STATIC ${CMAKE_CURRENT_LIST_DIR}/simulator.cpp)
target_link_libraries(zenfit_simulator PUBLIC zenfit_fit PRIVATE ${ZENFIT_ERFA})
target_include_directories(zenfit_simulator PUBLIC ${CMAKE_CURRENT_LIST_DIR})

add_executable(zenfit_simulate ${CMAKE_CURRENT_LIST_DIR}/simulate.cpp)
target_link_libraries(zenfit_simulate PRIVATE zenfit_simulator)

# The tests simulate runs of their own. The test program is defined later
# (tools are included before tests/), so the link is made once the whole
# project has been read.
function(zenfit_link_simulator_into_tests)
  if(TARGET zenfit_tests)
    target_link_libraries(zenfit_tests PRIVATE zenfit_simulator)
  endif()
endfunction()
cmake_language(DEFER CALL zenfit_link_simulator_into_tests)
