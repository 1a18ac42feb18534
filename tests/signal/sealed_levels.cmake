# Fails when the object of one of FILES defines an external or weak symbol other than its entry in
# a table of variants.
foreach(file ${FILES})
  get_filename_component(name ${file} NAME)
  set(object ${OBJECTS})
  list(FILTER object INCLUDE REGEX "/${name}\\.o$")
  list(LENGTH object count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "no object of ${name}")
  endif()
  execute_process(COMMAND ${NM} -C --extern-only --defined-only ${object}
                  OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
  string(REGEX MATCHALL "[^\n]+" lines "${symbols}")
  list(FILTER lines EXCLUDE REGEX " [DR] ns_signal::[a-z0-9_]+_(variant|scaling_kernels)$")
  # Added by the sanitizers: data, no code.
  list(FILTER lines EXCLUDE REGEX " (__odr_asan|DW\\.ref)\\.")
  if(lines)
    message(FATAL_ERROR "${name} exports more than its entry: ${lines}")
  endif()
endforeach()
