# ippiQM300-x64.dll: the module for 64-bit Windows, from the same objects as
# the Linux module. Included by the top-level CMakeLists.txt when WIN32.

# The module-definition file comes from the function list, like the Linux
# version script; the generator runs on the build machine, so it is built
# with the build machine's compiler rather than the cross compiler.
find_program(QM_HOST_CXX NAMES c++ g++ clang++ REQUIRED)
set(QM_GEN_EXPORTS_HOST ${CMAKE_BINARY_DIR}/qm_gen_exports_host)
set(QM_DEF_FILE ${CMAKE_BINARY_DIR}/ippiQM300-x64.def)
add_custom_command(OUTPUT ${QM_GEN_EXPORTS_HOST}
  COMMAND ${QM_HOST_CXX} -std=c++20 -O1 -I${PROJECT_SOURCE_DIR}/include
          ${PROJECT_SOURCE_DIR}/src/frame/gen_exports.cpp -o ${QM_GEN_EXPORTS_HOST}
  DEPENDS src/frame/gen_exports.cpp include/ippiQM300_functions.h include/ippiQM300.h
  COMMENT "Building the export-list generator for the build machine")
add_custom_command(OUTPUT ${QM_DEF_FILE}
  COMMAND ${QM_GEN_EXPORTS_HOST} def > ${QM_DEF_FILE}
  DEPENDS ${QM_GEN_EXPORTS_HOST}
  COMMENT "Generating the module-definition file")
add_custom_target(qm_exports DEPENDS ${QM_DEF_FILE})

add_library(qm_module SHARED src/frame/module_anchor.cpp)
add_dependencies(qm_module qm_exports)
target_link_libraries(qm_module PRIVATE "$<LINK_LIBRARY:WHOLE_ARCHIVE,qm_core>")
# The .def alone decides the exports (names and ordinals). -static takes
# libgcc, libstdc++ and winpthreads into the DLL, so that it imports only
# KERNEL32 and the C runtime DLL and drops into a driver folder alone.
target_link_options(qm_module PRIVATE ${QM_DEF_FILE} -static -Wl,--exclude-all-symbols)
set_target_properties(qm_module PROPERTIES OUTPUT_NAME "ippiQM300-x64" PREFIX "" SUFFIX ".dll"
                      LINK_DEPENDS ${QM_DEF_FILE}
                      RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}
                      ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)

# Programs too carry their runtime, so that they run from the build folder
# under Wine with nothing copied beside them.
add_link_options(-static)

# Test programs run under Wine from the DLL's folder, where a driver keeps it.
find_program(QM_WINE NAMES wine wine64)
if(QM_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_SOURCE_DIR}/scripts/wine-run.sh)
endif()
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

# The example host of the README, built and run with the Wine tests.
if(QM_BUILD_TESTS)
  add_executable(qm_windows_host examples/windows_host.c)
  target_include_directories(qm_windows_host PRIVATE include)
  set_target_properties(qm_windows_host PROPERTIES C_STANDARD 99 C_EXTENSIONS OFF)
  target_compile_options(qm_windows_host PRIVATE -Wpedantic -Werror)
  add_dependencies(qm_windows_host qm_module)
  add_test(NAME windows_host_example COMMAND qm_windows_host)
endif()
