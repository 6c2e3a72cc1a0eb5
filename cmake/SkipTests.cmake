# Has the list of tests say why those of a part are missing.
function(audvik_skip_tests part reason)
  set(name "${part}: ${reason}")
  add_test(NAME "${name}" COMMAND ${CMAKE_COMMAND} -E echo skipped)
  set_tests_properties("${name}" PROPERTIES SKIP_REGULAR_EXPRESSION skipped)
endfunction()
