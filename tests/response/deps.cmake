# The SciPy peer needs a Python with NumPy and SciPy: the configured one when
# it has them, else the system's (Debian python3-scipy). Without one the peer
# tests skip with a message.
set(ZEVA_SCIPY_PYTHON "")
foreach(candidate IN ITEMS ${Python3_EXECUTABLE} /usr/bin/python3)
  if(candidate AND NOT ZEVA_SCIPY_PYTHON)
    execute_process(COMMAND ${candidate} -c "import numpy, scipy.signal"
                    RESULT_VARIABLE scipy_status OUTPUT_QUIET ERROR_QUIET)
    if(scipy_status EQUAL 0)
      set(ZEVA_SCIPY_PYTHON ${candidate})
    endif()
  endif()
endforeach()
set(ZEVA_TEST_DEFINITIONS ZEVA_SCIPY_PYTHON="${ZEVA_SCIPY_PYTHON}")
