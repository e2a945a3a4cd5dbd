# Installs the build into a fresh prefix, then builds and runs an outside project against it,
# once through find_package(Vantor) and once through pkg-config.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
  endif()
endfunction()

run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

file(GLOB plugin ${prefix}/lib*/vantor/libvantor-ksv.so ${prefix}/lib/*/vantor/libvantor-ksv.so)
if(NOT plugin)
  message(FATAL_ERROR "the membership client is not installed in <libdir>/vantor")
endif()

run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/consumer -DCMAKE_PREFIX_PATH=${prefix}
    -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build ${WORK_DIR}/consumer)
run(${WORK_DIR}/consumer/vantor_consumer)

find_program(PKG_CONFIG pkg-config REQUIRED)
file(GLOB pc_dirs ${prefix}/lib*/pkgconfig ${prefix}/lib/*/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "${pc_dirs}")
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs vantor OUTPUT_VARIABLE flags
  OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "pkg-config does not know vantor")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} -std=c++17 ${CONSUMER_DIR}/main.cpp ${flags} -o ${WORK_DIR}/pkgconfig_consumer)
string(REGEX MATCH "-L[^;]*" libdir_flag "${flags}")
string(SUBSTRING "${libdir_flag}" 2 -1 libdir)
set(ENV{LD_LIBRARY_PATH} "${libdir}")
run(${WORK_DIR}/pkgconfig_consumer)
