# Installs the build into a fresh prefix and uses the installation as a
# stranger would. Run by CTest (see CMakeLists.txt beside this file) with
# BUILD_DIR, WORK_DIR, CONSUMERS, C_COMPILER, CXX_COMPILER, GENERATOR,
# PYTHON (empty without the Python module), PYTHON_DIR and LIBDIR.
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)

# Runs a command; stops the test with its output when it fails. (No ';'
# in an argument: CMake would split it.)
# run(NAME what [DIR folder] [EXPECT status] COMMAND ...), leaves the
# output in run_output.
function(run)
  cmake_parse_arguments(RUN "" "NAME;DIR;EXPECT" "COMMAND" ${ARGN})
  if(NOT RUN_DIR)
    set(RUN_DIR ${WORK_DIR})
  endif()
  if(NOT DEFINED RUN_EXPECT)
    set(RUN_EXPECT 0)
  endif()
  execute_process(COMMAND ${RUN_COMMAND} WORKING_DIRECTORY ${RUN_DIR}
                  RESULT_VARIABLE status OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT status STREQUAL RUN_EXPECT)
    message(FATAL_ERROR "${RUN_NAME}: status ${status}, expected ${RUN_EXPECT}\n${out}\n${err}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

function(expect_in text pattern what)
  string(FIND "${text}" "${pattern}" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${what}: no \"${pattern}\" in:\n${text}")
  endif()
endfunction()

run(NAME "cmake --install" COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

# What the prefix holds.
set(files
  bin/zenfit
  include/zenfit.h
  ${LIBDIR}/libzenfit.so
  ${LIBDIR}/libzenfit.so.5
  ${LIBDIR}/cmake/zenfit/zenfitConfig.cmake
  ${LIBDIR}/cmake/zenfit/zenfitConfigVersion.cmake
  ${LIBDIR}/cmake/zenfit/zenfitTargets.cmake
  ${LIBDIR}/pkgconfig/zenfit.pc
  share/man/man1/zenfit.1
  share/zenfit/zenfit.shl
  share/zenfit/examples/run.dat
  share/zenfit/examples/stars.dat
  share/zenfit/examples/session.cmd
  share/zenfit/examples/analysis.py)
if(PYTHON)
  list(APPEND files ${PYTHON_DIR}/zenfit/__init__.py)
endif()
if(WEB)
  list(APPEND files bin/zenfit-web)
endif()
foreach(file ${files})
  if(NOT EXISTS ${prefix}/${file})
    message(FATAL_ERROR "not installed: ${file}")
  endif()
endforeach()
file(GLOB versioned ${prefix}/${LIBDIR}/libzenfit.so.5.*)
if(NOT versioned)
  message(FATAL_ERROR "no versioned libzenfit.so.5.x.y")
endif()

# The library exports the C API and the inert exports, and nothing else.
run(NAME "nm" COMMAND nm -D --defined-only ${prefix}/${LIBDIR}/libzenfit.so)
string(REGEX MATCHALL "[^\n]+" lines "${run_output}")
set(exported "")
foreach(line ${lines})
  string(REGEX REPLACE "^[0-9a-f]* *[A-Za-z] " "" name "${line}")
  list(APPEND exported ${name})
endforeach()
list(SORT exported)
set(api ClearMessageBuffer GetMarkerHt GetMessagePtr GetPlotSvg GetRMSPSD GetTermInfo GetTextJustification
    SetDataPtrs _ZN6CPkzenC1Ev _ZN6CPkzenC2Ev _ZN6CPkzenaSERKS_ fnPkzen nPkzen pMapPts
    pObsParms zftCsrv zftParal zftTerm zftZftini zftZftrun)
list(SORT api)
if(NOT exported STREQUAL api)
  message(FATAL_ERROR "libzenfit exports:\n${exported}\nbut the C API is:\n${api}")
endif()

# A C++ project that finds the package.
set(consumer_build ${WORK_DIR}/find_package_consumer)
run(NAME "configure the find_package consumer"
    COMMAND ${CMAKE_COMMAND} -S ${CONSUMERS}/find_package_consumer -B ${consumer_build}
            -G ${GENERATOR} -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX_COMPILER})
run(NAME "build the find_package consumer" COMMAND ${CMAKE_COMMAND} --build ${consumer_build})
file(MAKE_DIRECTORY ${WORK_DIR}/empty)
run(NAME "the find_package consumer" DIR ${WORK_DIR}/empty COMMAND ${consumer_build}/consumer)
expect_in("${run_output}" "IH      :   old =   +0.00,   new =  +12.50" "find_package consumer")

# A C program built with pkg-config's flags.
run(NAME "pkg-config" COMMAND ${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${prefix}/${LIBDIR}/pkgconfig
    pkg-config --cflags --libs zenfit)
string(STRIP "${run_output}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(NAME "build the pkg-config consumer"
    COMMAND ${C_COMPILER} ${CONSUMERS}/pkg_config_consumer/consumer.c ${flags}
            -o ${WORK_DIR}/pkg_config_consumer)
run(NAME "the pkg-config consumer" DIR ${WORK_DIR}/empty
    COMMAND ${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${prefix}/${LIBDIR} ${WORK_DIR}/pkg_config_consumer)
expect_in("${run_output}" "NP" "pkg-config consumer")

# The installed program on a copy of the installed examples: a session
# always ends with status 1 and "Error running ZENFIT!".
file(COPY ${prefix}/share/zenfit/examples DESTINATION ${WORK_DIR})
run(NAME "the installed zenfit" DIR ${WORK_DIR}/examples EXPECT 1
    COMMAND ${prefix}/bin/zenfit session.cmd session.txt / /)
expect_in("${run_output}" "Error running ZENFIT!" "zenfit")
file(READ ${WORK_DIR}/examples/session.txt session)
expect_in("${session}" "Sky RMS =   1.14" "the example session")

if(PYTHON)
  # The installed module with PYTHONPATH alone, from an empty folder, and
  # the installed example script with it.
  set(python_env ${CMAKE_COMMAND} -E env --unset=PYTHONHOME --unset=PYTHONSTARTUP
      --unset=VIRTUAL_ENV PYTHONPATH=${prefix}/${PYTHON_DIR} MPLCONFIGDIR=${WORK_DIR}/mpl)
  run(NAME "import zenfit" DIR ${WORK_DIR}/empty
      COMMAND ${python_env} ${PYTHON} -c
      "import zenfit\nprint(zenfit.__file__)\nprint(zenfit.Engine().run('USE IH'), end='')")
  expect_in("${run_output}" "${prefix}/${PYTHON_DIR}/zenfit/__init__.py" "zenfit.__file__")
  expect_in("${run_output}" "* USE IH" "the installed module")
  run(NAME "analysis.py" DIR ${WORK_DIR}/empty
      COMMAND ${python_env} ${PYTHON} ${prefix}/share/zenfit/examples/analysis.py
              ${WORK_DIR}/residuals.png)
  expect_in("${run_output}" "sky RMS 1.14" "analysis.py")
  file(READ ${WORK_DIR}/residuals.png signature LIMIT 8 HEX)
  if(NOT signature STREQUAL "89504e470d0a1a0a")
    message(FATAL_ERROR "analysis.py wrote no PNG")
  endif()
endif()
