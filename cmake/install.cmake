# Install rules, the CMake and pkg-config packages, and the Debian package.
#
#   cmake --install build --prefix /opt/qm
#     bin/qm300
#     <libdir>/ippiQM300/ippiQM300-x64.so        (<libdir>: lib, or lib/<multiarch> under /usr)
#     include/ippiQM300.h, include/ippiQM300_functions.h
#     <libdir>/cmake/ippiQM300/                  find_package(ippiQM300 CONFIG)
#     <libdir>/pkgconfig/ippiQM300.pc
#     share/doc/ippiqm300/README.md, LICENSE
#
# Hosts dlopen the module; nothing links it, so it is installed as a plugin
# in its own folder rather than as a shared library on the linker's path.
include(GNUInstallDirs)
# cmake --install and cpack install what is built; scripts/package.sh builds
# only the installed targets, not the tests and benchmarks.
set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
include(CMakePackageConfigHelpers)

set(QM_PACKAGE_VERSION 1.0.0 CACHE STRING "Version of the installed packages")
set(QM_MODULE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/ippiQM300)
get_target_property(qm_module_name qm_module OUTPUT_NAME)
get_target_property(qm_module_suffix qm_module SUFFIX)
if(NOT qm_module_suffix)
  set(qm_module_suffix ${CMAKE_SHARED_LIBRARY_SUFFIX})
endif()
set(QM_MODULE_FILE ${qm_module_name}${qm_module_suffix})
set(QM_CMAKE_INSTALL_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ippiQM300)
set(QM_DOC_INSTALL_DIR ${CMAKE_INSTALL_DATAROOTDIR}/doc/ippiqm300)

install(TARGETS qm_module LIBRARY DESTINATION ${QM_MODULE_INSTALL_DIR} RUNTIME DESTINATION ${QM_MODULE_INSTALL_DIR}
        COMPONENT runtime)
install(FILES include/ippiQM300.h include/ippiQM300_functions.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT runtime)
install(FILES README.md LICENSE DESTINATION ${QM_DOC_INSTALL_DIR} COMPONENT runtime)

if(TARGET qm300)
  # The installed tool finds the module relative to itself, so the whole
  # prefix can be moved (or unpacked anywhere) and still work.
  file(RELATIVE_PATH qm_bin_to_module /${CMAKE_INSTALL_BINDIR} /${QM_MODULE_INSTALL_DIR}/${QM_MODULE_FILE})
  target_compile_definitions(qm300_lib PRIVATE QM300_INSTALLED_MODULE="${qm_bin_to_module}")
  install(TARGETS qm300 RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()

# ---- find_package(ippiQM300 CONFIG) ----------------------------------------
# ippiQM300::headers carries the include folder (and the dlopen library);
# the config file adds the module's path and an imported ippiQM300::module.
add_library(qm_headers INTERFACE)
target_include_directories(qm_headers INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                                $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(qm_headers INTERFACE ${CMAKE_DL_LIBS})
set_target_properties(qm_headers PROPERTIES EXPORT_NAME headers)
install(TARGETS qm_headers EXPORT ippiQM300Targets)
install(EXPORT ippiQM300Targets NAMESPACE ippiQM300:: DESTINATION ${QM_CMAKE_INSTALL_DIR} COMPONENT runtime)

configure_package_config_file(cmake/ippiQM300Config.cmake.in
  ${CMAKE_BINARY_DIR}/ippiQM300Config.cmake
  INSTALL_DESTINATION ${QM_CMAKE_INSTALL_DIR}
  PATH_VARS QM_MODULE_INSTALL_DIR CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/ippiQM300ConfigVersion.cmake
  VERSION ${QM_PACKAGE_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/ippiQM300Config.cmake ${CMAKE_BINARY_DIR}/ippiQM300ConfigVersion.cmake
        DESTINATION ${QM_CMAKE_INSTALL_DIR} COMPONENT runtime)

# ---- pkg-config -------------------------------------------------------------
# The prefix is only known at install time (cmake --install --prefix), so the
# file is finished then: @prefix@ survives the first pass.
set(prefix "@prefix@")
set(QM_DL_LIBS "")
foreach(lib IN LISTS CMAKE_DL_LIBS)
  string(APPEND QM_DL_LIBS " -l${lib}")
endforeach()
configure_file(cmake/ippiQM300.pc.in ${CMAKE_BINARY_DIR}/ippiQM300.pc.stage @ONLY)
unset(prefix)
install(CODE "
  set(prefix \"\${CMAKE_INSTALL_PREFIX}\")
  configure_file(\"${CMAKE_BINARY_DIR}/ippiQM300.pc.stage\" \"${CMAKE_BINARY_DIR}/pc/ippiQM300.pc\" @ONLY)
  file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\" TYPE FILE
       FILES \"${CMAKE_BINARY_DIR}/pc/ippiQM300.pc\")
" COMPONENT runtime)

# ---- Debian package (scripts/package.sh) ------------------------------------
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ippiqm300)
set(CPACK_PACKAGE_VERSION ${QM_PACKAGE_VERSION})
set(CPACK_PACKAGE_CONTACT "ippiQM300 maintainers <maintainers@ippiqm300.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "image-processing module of the document-scanner driver, and its qm300 tool")
set(CPACK_PACKAGE_DESCRIPTION "The scanner driver's image module (scanner sharpening, softening and noise
reduction, image primitives) with its C header, CMake and pkg-config packages,
and qm300, which runs every filter on PNG, JPEG, TIFF and PGM/PPM pages.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEB_COMPONENT_INSTALL OFF)
set(CPACK_STRIP_FILES ON)
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
include(CPack)

if(QM_BUILD_TESTS AND NOT QM_SANITIZE AND NOT QM_FUZZ)
  add_subdirectory(tests/packaging)
endif()
