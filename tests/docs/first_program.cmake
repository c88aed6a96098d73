# Runs the guide's first program on an installation of its own, and compares what it prints with what
# the guide says. Arguments: PROGRAM, HOME (the runtime's), FOLDER.
if(CMAKE_HOST_APPLE)
  set(platform macos64)
else()
  set(platform linux64)
endif()
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER}/common/python/python3.5)
file(CREATE_LINK ${HOME} ${FOLDER}/common/python/python3.5/${platform} SYMBOLIC)
execute_process(COMMAND ${PROGRAM} ${FOLDER} OUTPUT_VARIABLE printed ERROR_VARIABLE errors
                RESULT_VARIABLE status)
set(expected "price: 39\nscript error: name 'discount' is not defined\n")
if(NOT status EQUAL 0 OR NOT printed STREQUAL expected OR NOT errors MATCHES "NameError: ")
  message(FATAL_ERROR "ended with ${status}\nprinted:\n${printed}\nerrors:\n${errors}")
endif()
