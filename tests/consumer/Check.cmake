# Installs into a folder that is then moved, builds the host there by find_package and by pkg-config,
# and compares what both print. A sidecar without channels makes the open throw, which the host catches.
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY OUTPUT_VARIABLE output
    OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(output "${output}" PARENT_SCOPE)
endfunction()

set(work ${BUILD_FOLDER}/consumer)
file(REMOVE_RECURSE ${work})
run(${CMAKE_COMMAND} --install ${BUILD_FOLDER} --prefix ${work}/installed)
file(RENAME ${work}/installed ${work}/moved)

set(expected "Pressure: 0 0.5 1 1.5 2")
run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${work}/build -G Ninja -D CMAKE_PREFIX_PATH=${work}/moved
  -D CMAKE_CXX_COMPILER=${CXX} -D CMAKE_CXX_FLAGS=${CXX_FLAGS})
run(${CMAKE_COMMAND} --build ${work}/build)
run(${work}/build/consumer ${RECORDING})
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "by find_package: ${output}")
endif()

file(WRITE ${work}/faulty.bin "12345678")
file(WRITE ${work}/faulty_binheader.txt "NumAChannels=0\n")
execute_process(COMMAND ${work}/build/consumer ${work}/faulty.bin
  RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE message)
if(NOT status EQUAL 1 OR NOT output STREQUAL "" OR NOT message MATCHES "faulty_binheader.txt")
  message(FATAL_ERROR "of a fault: ${status} ${output} ${message}")
endif()

file(GLOB_RECURSE pc ${work}/moved/lmimport.pc)
cmake_path(GET pc PARENT_PATH pc)
set(ENV{PKG_CONFIG_PATH} ${pc})
set(ENV{LD_LIBRARY_PATH} ${pc}/..)  # for a shared library
run(pkg-config --cflags --libs lmimport)
separate_arguments(flags UNIX_COMMAND "-std=c++20 ${CXX_FLAGS} ${CONSUMER}/Host.cpp ${output}")
run(${CXX} ${flags} -o ${work}/by-pkg-config)
run(${work}/by-pkg-config ${RECORDING})
if(NOT output STREQUAL expected)
  message(FATAL_ERROR "by pkg-config: ${output}")
endif()
