# Installs the build into a scratch prefix and imports the installed package
# from there alone: PYTHONPATH names the prefix's site-packages, nothing
# names the build tree or the libraries (the extension finds them by its run
# path). Arguments: BUILD_DIR, WORK_DIR, PYTHON, PACKAGE_DIR (relative to
# the prefix).
file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install failed")
endif()
foreach(file __init__.py __init__.pyi dask.py dask.pyi py.typed)
  if(NOT EXISTS ${prefix}/${PACKAGE_DIR}/ozu_color/${file})
    message(FATAL_ERROR "ozu_color/${file} was not installed into ${PACKAGE_DIR}")
  endif()
endforeach()
set(ENV{PYTHONPATH} ${prefix}/${PACKAGE_DIR})
unset(ENV{LD_LIBRARY_PATH})
set(check "import numpy, ozu_color, os; \
assert ozu_color.__file__.startswith(os.path.realpath('${prefix}')), ozu_color.__file__; \
rgb = numpy.full((4, 6, 3), (255, 0, 0), numpy.uint8); \
print(ozu_color.version(), ozu_color.convert(rgb, 'HSV')[0, 0].tolist())")
execute_process(COMMAND ${PYTHON} -c "${check}" WORKING_DIRECTORY ${WORK_DIR}
                RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
if(NOT rc EQUAL 0 OR NOT out MATCHES "6\\.6\\.0\\.5300 \\[0, 255, 255\\]")
  message(FATAL_ERROR "the installed package failed (${rc}):\n${out}\n${err}")
endif()
