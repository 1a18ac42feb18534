# cmake -DREFERENCE=PROGRAM -DEMULATOR=QEMU -DPROCESSOR=NAME -P same_output.cmake
# Checks that the program prints the same lines on this processor and on the emulated one.
execute_process(COMMAND ${REFERENCE} OUTPUT_VARIABLE here COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${EMULATOR} -cpu ${PROCESSOR} ${REFERENCE} OUTPUT_VARIABLE there
                ERROR_QUIET COMMAND_ERROR_IS_FATAL ANY)
if(here STREQUAL "")
  message(FATAL_ERROR "${REFERENCE} printed nothing")
endif()
if(NOT here STREQUAL there)
  message(FATAL_ERROR "as ${PROCESSOR}:\n${there}\nhere:\n${here}")
endif()
