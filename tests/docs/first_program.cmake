# Runs the guide's first program on an installation of its own, and compares what it prints with what
# the guide says. Arguments: EMULATOR (or nothing), PROGRAM, HOME (the runtime's), PLATFORM (the
# folder's name in installations), FOLDER.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER}/common/python/python3.5)
file(CREATE_LINK ${HOME} ${FOLDER}/common/python/python3.5/${PLATFORM} SYMBOLIC)
execute_process(COMMAND ${EMULATOR} ${PROGRAM} ${FOLDER} OUTPUT_VARIABLE printed ERROR_VARIABLE errors
                RESULT_VARIABLE status)
string(REPLACE "\r\n" "\n" printed "${printed}")
set(expected "price: 39\nscript error: name 'discount' is not defined\n")
if(NOT status EQUAL 0 OR NOT printed STREQUAL expected OR NOT errors MATCHES "NameError: ")
  message(FATAL_ERROR "ended with ${status}\nprinted:\n${printed}\nerrors:\n${errors}")
endif()
