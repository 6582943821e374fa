# Installs the build into a staging prefix and builds and runs the example hosts against it, the
# way an app's own build would consume the package.
#   cmake -DOT_BUILD_DIR=... -DOT_SOURCE_DIR=... -DOT_WORK_DIR=... -P OTPackageTest.cmake
file(REMOVE_RECURSE ${OT_WORK_DIR})
set(stage ${OT_WORK_DIR}/stage)

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${ARGN} failed (${result}):\n${out}\n${err}")
  endif()
  set(out "${out}" PARENT_SCOPE)
  set(err "${err}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${OT_BUILD_DIR} --prefix ${stage})
# Everything lands under the prefix: the manifest lists each installed file.
file(STRINGS ${OT_BUILD_DIR}/install_manifest.txt installed)
foreach(path IN LISTS installed)
  string(FIND "${path}" "${stage}/" at)
  if(NOT at EQUAL 0)
    message(FATAL_ERROR "installed outside the prefix: ${path}")
  endif()
endforeach()
foreach(expected include/corvane/CorvaneOtManager.h include/corvane/CorvaneBannerConfig.h include/corvane/corvane_ostrel.h
                 lib/libcorvane_ostrel.a lib/libcorvane_ostrel.so
                 share/corvane-ostrel/CorvaneOstrel.bundle lib/pkgconfig/corvane-ostrel.pc
                 lib/cmake/CorvaneOstrel/CorvaneOstrelConfig.cmake
                 lib/cmake/CorvaneOstrel/CorvaneOstrelConfigVersion.cmake)
  if(NOT EXISTS ${stage}/${expected})
    message(FATAL_ERROR "not installed: ${expected}")
  endif()
endforeach()

run(${CMAKE_COMMAND} -S ${OT_SOURCE_DIR}/examples/host -B ${OT_WORK_DIR}/host -G Ninja
    -DCMAKE_PREFIX_PATH=${stage} -DCMAKE_BUILD_TYPE=Release)
run(${CMAKE_COMMAND} --build ${OT_WORK_DIR}/host)
run(${CMAKE_COMMAND} -E env OT_SANDBOX=${OT_WORK_DIR}/sandbox ${OT_WORK_DIR}/host/example_host)
if(NOT out MATCHES "CorvaneOstrel [0-9]+\\.[0-9]+\\.[0-9]+: 2 events handed over")
  message(FATAL_ERROR "unexpected output: ${out}")
endif()
# Against the dev server the host draws the welcome dialog with its own renderer and presses its
# first button, which closes it.
run(${CMAKE_COMMAND} -E env OT_SANDBOX=${OT_WORK_DIR}/served ${OT_BUILD_DIR}/otserver --
    ${OT_WORK_DIR}/host/example_host {url})
set(drawn "dialog ([0-9]+):\n  Welcome\n  New arrivals every week.\n  \\[Later\\]\n  \\[Show me\\]\npressed \\[Later\\]\n")
if(NOT out MATCHES "${drawn}")
  message(FATAL_ERROR "the example host did not draw the dialog: ${out}")
endif()
if(NOT out MATCHES "dialog ${CMAKE_MATCH_1} dismissed\nCorvaneOstrel [^\n]*: [0-9]+ events handed over, [1-9][0-9]* console lines kept")
  message(FATAL_ERROR "the example host did not close the dialog: ${out}")
endif()
if(NOT err STREQUAL "")
  message(FATAL_ERROR "the example host's console reached standard error: ${err}")
endif()

# The C host draws the same dialog with json-c, presses its last button and performs the
# navigation it is handed; the library's console lines go to its sink, none to standard error.
if(NOT EXISTS ${OT_WORK_DIR}/host/example_c_host)
  message(FATAL_ERROR "the C host was not built: json-c (libjson-c-dev) is missing")
endif()
run(${OT_BUILD_DIR}/otserver -- ${OT_WORK_DIR}/host/example_c_host {url})
set(drawn "dialog [0-9]+:\n  Welcome\n  New arrivals every week.\n  \\[Later\\]\n  \\[Show me\\]\npressed \\[Show me\\]\n")
if(NOT out MATCHES "${drawn}" OR NOT out MATCHES "navigate web https://shop.example.com/new \\(campaign\\)\n"
   OR NOT out MATCHES "in C: [0-9]+ events handed over, [1-9][0-9]* console lines kept" OR NOT err STREQUAL "")
  message(FATAL_ERROR "the C host did not draw, press and navigate: ${out}\n${err}")
endif()

# The same host linked against the shared library, which it then loads from the prefix.
run(${CMAKE_COMMAND} -S ${OT_SOURCE_DIR}/examples/host -B ${OT_WORK_DIR}/shared-host -G Ninja
    -DCMAKE_PREFIX_PATH=${stage} -DCMAKE_BUILD_TYPE=Release -DEXAMPLE_HOST_SHARED=ON)
run(${CMAKE_COMMAND} --build ${OT_WORK_DIR}/shared-host)
file(GET_RUNTIME_DEPENDENCIES EXECUTABLES ${OT_WORK_DIR}/shared-host/example_host
     RESOLVED_DEPENDENCIES_VAR loaded UNRESOLVED_DEPENDENCIES_VAR missing POST_INCLUDE_REGEXES corvane_ostrel
     POST_EXCLUDE_REGEXES ".*")
list(FILTER loaded INCLUDE REGEX "libcorvane_ostrel\\.so")
# Compared with links resolved: the build folder may be reached through a symbolic link.
file(REAL_PATH "${stage}/lib" stagedLib)
set(fromStage FALSE)
foreach(path IN LISTS loaded)
  file(REAL_PATH "${path}" path)
  cmake_path(IS_PREFIX stagedLib "${path}" NORMALIZE inStage)
  if(inStage)
    set(fromStage TRUE)
  endif()
endforeach()
if(NOT fromStage)
  message(FATAL_ERROR "the shared host does not load the staged library: ${loaded} (missing: ${missing})")
endif()
run(${CMAKE_COMMAND} -E env OT_SANDBOX=${OT_WORK_DIR}/shared-sandbox ${OT_WORK_DIR}/shared-host/example_host)
if(NOT out MATCHES ": 2 events handed over")
  message(FATAL_ERROR "unexpected output from the shared host: ${out}")
endif()

# A host in Python over the C interface of the staged shared library draws the same dialog, presses
# its last button and performs the navigation it is handed; the library's console lines go to the
# host's sink, none to standard error.
find_program(PYTHON3 python3)
if(PYTHON3)
  run(${CMAKE_COMMAND} -E env OT_SANDBOX=${OT_WORK_DIR}/python-sandbox ${OT_BUILD_DIR}/otserver --
      ${PYTHON3} ${OT_SOURCE_DIR}/examples/python/host.py ${stage}/lib/libcorvane_ostrel.so {url})
  set(drawn "dialog [0-9]+:\n  Welcome\n  New arrivals every week.\n  \\[Later\\]\n  \\[Show me\\]\npressed \\[Show me\\]\n")
  set(navigated "navigate web https://shop.example.com/new \\(campaign\\)\n")
  if(NOT out MATCHES "${drawn}" OR NOT out MATCHES "${navigated}"
     OR NOT out MATCHES "over ctypes: [0-9]+ events handed over, [1-9][0-9]* console lines kept" OR NOT err STREQUAL "")
    message(FATAL_ERROR "the Python host did not draw, press and navigate: ${out}\n${err}")
  endif()
else()
  message(STATUS "python3 not found: the Python host is not tried")
endif()

# pkg-config sees the same package, wherever the prefix is.
find_program(PKG_CONFIG pkg-config REQUIRED)
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${stage}/lib/pkgconfig ${PKG_CONFIG} --variable=includedir corvane-ostrel)
string(STRIP "${out}" includedir)
file(REAL_PATH "${includedir}" includedir)
file(REAL_PATH "${stage}/include" expected)
run(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${stage}/lib/pkgconfig ${PKG_CONFIG} --libs corvane-ostrel)
if(NOT includedir STREQUAL expected OR NOT out MATCHES "-lcorvane_ostrel")
  message(FATAL_ERROR "pkg-config answered ${includedir} and ${out}")
endif()
message(STATUS "the example host built and ran against ${stage}")
