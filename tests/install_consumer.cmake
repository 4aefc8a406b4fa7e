# Installs the build into a scratch prefix, then builds and runs a program
# against it twice: through find_package(ozu_color) and through pkg-config.
# Before that, the installed ozu-color must start from the prefix with no
# library path given (its RUNPATH leads from bin/ to lib/), and every
# installed header must compile as C99 and as C++, except ozu/bayer.h, which
# is C++ only and must say so when a C compiler meets it.
# Arguments: BUILD_DIR, SOURCE_DIR, WORK_DIR, C_COMPILER, CXX_COMPILER,
# EXTRA_FLAGS (the sanitizer flags a sanitizer build's consumers need), and
# for cross builds TOOLCHAIN and EMULATOR.
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install failed")
endif()

unset(ENV{LD_LIBRARY_PATH})
file(GLOB installed_tool ${prefix}/bin/ozu-color)
if(installed_tool)
  execute_process(COMMAND ${EMULATOR} ${installed_tool} --version RESULT_VARIABLE rc
                  OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0 OR NOT out MATCHES "libozu_color 6\\.6\\.0\\.5300")
    message(FATAL_ERROR "the installed ozu-color does not start (${rc}):\n${out}\n${err}")
  endif()
  message(STATUS "installed ozu-color starts")
endif()

file(GLOB headers RELATIVE ${prefix}/include ${prefix}/include/ozu/*.h)
if(NOT headers)
  message(FATAL_ERROR "no headers installed under ${prefix}/include/ozu")
endif()
foreach(header ${headers})
  string(MAKE_C_IDENTIFIER ${header} name)
  file(WRITE ${WORK_DIR}/headers/${name}.c "#include <${header}>\nint main(void) { return 0; }\n")
  file(WRITE ${WORK_DIR}/headers/${name}.cpp "#include <${header}>\nint main() { return 0; }\n")
  execute_process(COMMAND ${C_COMPILER} -std=c99 -pedantic-errors -Wall -Werror -fsyntax-only
                          -I${prefix}/include ${WORK_DIR}/headers/${name}.c
                  RESULT_VARIABLE rc ERROR_VARIABLE err)
  if(header STREQUAL "ozu/bayer.h")
    if(rc EQUAL 0 OR NOT err MATCHES "is a C\\+\\+ header")
      message(FATAL_ERROR "${header} must refuse a C compiler by name:\n${err}")
    endif()
  elseif(NOT rc EQUAL 0)
    message(FATAL_ERROR "${header} does not compile as C99:\n${err}")
  endif()
  execute_process(COMMAND ${CXX_COMPILER} -std=c++17 -pedantic-errors -Wall -Werror -fsyntax-only
                          -I${prefix}/include ${WORK_DIR}/headers/${name}.cpp
                  RESULT_VARIABLE rc ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${header} does not compile as C++:\n${err}")
  endif()
endforeach()
message(STATUS "installed headers compile: ${headers}")

# The consumer is compiled by the build's own C compiler (a cross build's
# toolchain file names it).
set(toolchain_args -DCMAKE_C_COMPILER=${C_COMPILER})
if(TOOLCHAIN)
  set(toolchain_args -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
execute_process(
  COMMAND ${CMAKE_COMMAND} -S ${SOURCE_DIR}/tests/install_consumer -B ${WORK_DIR}/consumer
          -Dozu_color_DIR=${prefix}/lib/cmake/ozu_color ${toolchain_args}
          "-DCMAKE_C_FLAGS=${EXTRA_FLAGS}" "-DCMAKE_EXE_LINKER_FLAGS=${EXTRA_FLAGS}"
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "find_package(ozu_color) failed:\n${out}\n${err}")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR}/consumer RESULT_VARIABLE rc
                OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "building against the package failed:\n${out}\n${err}")
endif()

set(ENV{LD_LIBRARY_PATH} ${prefix}/lib)
execute_process(COMMAND ${EMULATOR} ${WORK_DIR}/consumer/consumer RESULT_VARIABLE rc
                OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out MATCHES "libozu_color 6\\.6\\.0\\.5300")
  message(FATAL_ERROR "the package-built program failed (${rc}):\n${out}\n${err}")
endif()

# pkg-config: the flags it gives must compile and link the same program.
find_program(PKG_CONFIG pkg-config)
if(NOT PKG_CONFIG)
  message(FATAL_ERROR "pkg-config not found")
endif()
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "")
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs ozu_color OUTPUT_VARIABLE flags
                RESULT_VARIABLE rc OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT rc EQUAL 0 OR NOT flags MATCHES "-lozu_color")
  message(FATAL_ERROR "pkg-config ozu_color failed: ${flags}")
endif()
separate_arguments(flag_list UNIX_COMMAND "${flags} ${EXTRA_FLAGS}")
execute_process(COMMAND ${C_COMPILER} ${SOURCE_DIR}/examples/hello_color.c ${flag_list}
                        -o ${WORK_DIR}/pc_consumer
                RESULT_VARIABLE rc ERROR_VARIABLE err)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "compiling with pkg-config flags failed:\n${err}")
endif()
execute_process(COMMAND ${EMULATOR} ${WORK_DIR}/pc_consumer RESULT_VARIABLE rc OUTPUT_VARIABLE out)
if(NOT rc EQUAL 0 OR NOT out MATCHES "libozu_color 6\\.6\\.0\\.5300")
  message(FATAL_ERROR "the pkg-config-built program failed (${rc}):\n${out}")
endif()
message(STATUS "package and pkg-config consumers OK")
